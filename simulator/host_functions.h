// The functions that a host has for its modules: those of hal_audio_platform.h, and the tuning
// entry in its device record.
//
// host_functions.cpp defines them all. It is part of every executable that makes a host, which
// exports them to the modules that it loads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "hal_audio_platform.h"
#include "host_records.h"

namespace brelmo::tavi::simulator {

// The handlers as a module last registered them.
struct Registration {
  hal_common_event_handler_t common_handler = nullptr;
  void* common_cookie = nullptr;
  usecase_event_handler_t usecase_handler = nullptr;
  void* usecase_cookie = nullptr;
  hal_sensor_callback_t hinge_angle_callback = nullptr;
  void* hinge_angle_cookie = nullptr;
};

// What they do in one host. A module's calls find it by its device; on any thread.
class HostFunctions {
 public:
  HostFunctions(const HostFunctions&) = delete;
  HostFunctions& operator=(const HostFunctions&) = delete;
  virtual ~HostFunctions();

  hal_audio_device* device() { return device_.get(); }
  // Publishes the tuning entry, as it is at first, or takes it away. Only between events.
  void SetTuningEntry(bool is_present);

  virtual void* Allocate(size_t size) = 0;
  virtual void Free(void* memory) = 0;
  virtual int AllocateCommonClient(void** client, const std::vector<int32_t>& events, int option,
                                   hal_common_event_handler_t handler, void* cookie) = 0;
  virtual int AllocateUsecaseClient(void** client, const std::vector<int32_t>& usecases,
                                    const std::vector<int32_t>& events, int option,
                                    usecase_event_handler_t handler, void* cookie) = 0;
  virtual void FreeCommonClient(void** client) = 0;
  virtual void FreeUsecaseClient(void** client) = 0;
  virtual int RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie) = 0;
  virtual int DeregisterHingeAngle(int client_id) = 0;
  // The proximity sensor's two functions. A module does not call them.
  virtual int UseProximity(const char* function) = 0;
  // The tuning entry, with data.
  virtual int Tune(const unsigned char* data, size_t size) = 0;
  // The module broke the contract.
  virtual void Violate(const std::string& text) = 0;

  // The host of a device. A device that no host has is a violation at the host made last; null
  // then.
  static HostFunctions* Find(const hal_audio_device* device, const char* function);

  // What is published. Whoever holds a device may call it.
  static int TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code, int32_t reserved,
                         void* reserved_pointer, void* context, const void* data, int64_t size,
                         int64_t reserved_1, int64_t reserved_2);

 protected:
  HostFunctions();

  DeviceRecord& device_record() { return device_; }
  // While the device is hidden, calls without one mean this host.
  void HideDevice(bool is_hidden) { is_device_hidden_ = is_hidden; }

 private:
  bool IsMeantBy(const hal_audio_device* device) const {
    return device == device_.get() || (device == nullptr && is_device_hidden_);
  }

  DeviceRecord device_;
  std::atomic<bool> is_device_hidden_ = false;
};

// What a module must ask for.
constexpr size_t kContextSize = 32;
constexpr int kSensorClientId = 0x54534350;

// What host functions return.
constexpr int kNoSuchDevice = -19;
constexpr int kInvalidArgument = -22;

// For messages.
std::string PointerText(const void* pointer);

}  // namespace brelmo::tavi::simulator
