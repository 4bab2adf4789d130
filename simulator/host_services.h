// What the simulated host does for its module: memory, event clients, the hinge-angle sensor, the
// tuning entry in front of the virtual DSP. Every call is told to the observer and held to the
// host's contract.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "hal_audio_platform.h"
#include "host_event.h"
#include "host_functions.h"
#include "host_observer.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::simulator {

// Thread-safe but for what concerns init and deinit, which belongs to the thread that calls them.
class HostServices final : public HostFunctions {
 public:
  // The observer is borrowed.
  explicit HostServices(HostObserver& observer) : observer_(observer) {}

  VirtualDsp& dsp() { return dsp_; }
  const VirtualDsp& dsp() const { return dsp_; }

  // What the next init is to meet.
  struct Faults {
    bool refuses_memory = false;
    bool hides_device = false;
    bool presets_handle = false;
    // What the host functions return instead of 0.
    int common_client_code = 0;
    int usecase_client_code = 0;
    int hinge_angle_code = 0;
  };
  Faults& faults() { return faults_; }

  // Returns the device that the module is to get.
  hal_audio_device* BeginInit();
  // Whether the module left the handle as it was.
  bool EndInit(int result);
  void EndDeinit(int result, void* context);
  // The module's handle; null before init, unless it is to be preset.
  void** handle() { return &handle_; }
  bool has_handle() const { return handle_ != nullptr; }

  // The handlers are kept after deinit.
  Registration registration() const;
  // Whether the module has asked for such events.
  bool IsWanted(const HostEvent& event) const;

  // While one lives, its thread holds an event, and may be in the tuning entry.
  class EventScope {
   public:
    EventScope();
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;
    ~EventScope();
  };

  void* Allocate(size_t size) override;
  void Free(void* memory) override;
  int AllocateCommonClient(void** client, const std::vector<int32_t>& events, int option,
                           hal_common_event_handler_t handler, void* cookie) override;
  int AllocateUsecaseClient(void** client, const std::vector<int32_t>& usecases,
                            const std::vector<int32_t>& events, int option,
                            usecase_event_handler_t handler, void* cookie) override;
  void FreeCommonClient(void** client) override;
  void FreeUsecaseClient(void** client) override;
  int RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie) override;
  int DeregisterHingeAngle(int client_id) override;
  int UseProximity(const char* function) override;
  int Tune(const unsigned char* data, size_t size) override;
  void Violate(const std::string& text) override { observer_.OnViolation(text); }

 private:
  // A client of the event service. Its address is the handle that the module gets.
  struct Client {
    std::set<int32_t> events;
    std::set<int32_t> usecases;
  };

  // A block of zeros that the host takes back. Entered with mutex_ held.
  void* MakeBlock(size_t size);
  void CheckHandOut(int result);
  void CheckRelease(const char* when);
  void CheckDeviceRecord(const char* when);
  void CheckHandleIsUntouched(const char* function);
  // What both kinds of event client are asked with. False: the client cannot be made.
  bool CheckClientArguments(const char* function, const std::string& call, const void* client,
                            const void* handler, const void* cookie, int option);
  void CheckMessages(const DspWrite& write);
  void ReportCall(const std::string& call) { observer_.OnHostCall(call); }
  bool IsMissing(const void* argument, const char* function, const char* name);
  void TakeClient(std::optional<Client>& slot, void* const* client, const char* function);

  HostObserver& observer_;
  VirtualDsp dsp_;
  Faults faults_;
  void* handle_ = nullptr;
  std::atomic<int> writes_in_progress_ = 0;

  mutable std::mutex mutex_;  // for the rest
  std::map<void*, std::unique_ptr<unsigned char[]>> memory_;
  std::set<void*> freed_memory_;  // addresses only, for a better message
  std::optional<Client> common_client_;
  std::optional<Client> usecase_client_;
  bool is_hinge_angle_registered_ = false;
  bool was_hinge_angle_refused_ = false;
  bool is_initializing_ = false;
  void* preset_handle_ = nullptr;  // what the handle held when init began
  Registration registration_;
};

}  // namespace brelmo::tavi::simulator
