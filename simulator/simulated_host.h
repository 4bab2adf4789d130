// The host audio HAL and its device, simulated: memory, event service, sensor service, tuning entry
// and DSP. It calls a module as a host does and holds it to the host's contract.
//
// The host functions of hal_audio_platform.h are defined in host_functions.cpp; the executable that
// links this library exports them to the modules that it loads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "event_thread.h"
#include "hal_audio_platform.h"
#include "loaded_module.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::simulator {

// Host event numbers.
constexpr int kValueAnnounced = 2;
constexpr int kValueWithdrawn = 4;
constexpr int kScreenRotated = 8;
constexpr int kUsecaseStarted = 21;
constexpr int kUsecaseStopped = 22;

// What the host can tell the module.
struct HostEvent {
  enum class Source { kCommon, kUsecase, kHingeAngle };

  Source source = Source::kCommon;
  int number = 0;  // the host's event number; 0 for a hinge angle
  // The payload: a common event's value, the use case, the angle in degrees. None is a null
  // payload.
  std::optional<int32_t> value;
  // Delivered whether or not the module asked for it, after deinit too.
  bool is_raw = false;
};

// The name of the thread that a host delivers such events on.
const char* ThreadName(HostEvent::Source source);

// What happens on the host's side. Called on the thread where it happens, so several calls may run
// at the same time. May not call back into the host.
class HostObserver {
 public:
  HostObserver() = default;
  HostObserver(const HostObserver&) = delete;
  HostObserver& operator=(const HostObserver&) = delete;
  virtual ~HostObserver() = default;

  // Right before and after the module gets an event, on the event's thread, with errno as the
  // module finds and leaves it.
  virtual void OnEventBegin(const HostEvent& /*event*/) {}
  virtual void OnEventEnd(const HostEvent& /*event*/) {}
  // The module called a host function; the text has the arguments and the result.
  virtual void OnHostCall(const std::string& /*call*/) {}
  virtual void OnWrite(const DspWrite& /*write*/) {}
  // The module broke the contract.
  virtual void OnViolation(const std::string& /*text*/) {}
};

// One device with one module. The module's entry points run on a control thread; use-case events,
// common events and hinge readings on one thread each.
class SimulatedHost {
 public:
  enum class Delivery {
    kDelivered,
    kNotRegistered,  // the module did not ask for it; raw: the host knows no handler
    kTimedOut,       // the module has not returned; the host cannot be used further
  };

  struct InitResult {
    bool timed_out = false;
    int result = 0;
    bool has_handle = false;
    bool left_handle_alone = false;  // see PresetHandle
  };

  // Both are borrowed.
  SimulatedHost(const LoadedModule& module, HostObserver& observer);
  SimulatedHost(const SimulatedHost&) = delete;
  SimulatedHost& operator=(const SimulatedHost&) = delete;
  // Waits for events that were posted. Does not deinit.
  ~SimulatedHost();

  hal_audio_device* device() { return device_; }
  VirtualDsp& dsp() { return dsp_; }

  // Faults at the next init; `code` is what the host function returns instead of 0.
  void RefuseMemory() { refuse_memory_ = true; }
  void RefuseCommonClient(int code) { common_client_code_ = code; }
  void RefuseUsecaseClient(int code) { usecase_client_code_ = code; }
  void RefuseHingeAngle(int code) { hinge_angle_code_ = code; }
  // The handle of the next init holds a block of the host's memory; what an init that hands out
  // nothing leaves of it is not kept.
  void PresetHandle() { is_handle_preset_ = true; }
  // The next init gets no device.
  void HideDevice() { is_device_hidden_ = true; }
  // Publishes the tuning entry, or not. Only while no event is being delivered.
  void SetTuningEntry(bool present);
  // How long the module may take with a call, beyond the time that the DSP is told to take.
  void SetPatience(std::chrono::milliseconds patience) { patience_ = patience; }
  // How long that is now.
  std::chrono::milliseconds CallLimit() const;

  // Each calls the module on the control thread and waits. `config` may be null.
  InitResult Init(const char* config);
  // False on timeout. Only after an init that handed out a handle.
  bool Deinit();
  // None on timeout. At any time.
  std::optional<std::string> Dump();

  // Delivers on the event's thread and waits until the module returned.
  Delivery Deliver(const HostEvent& event);
  // The same, but does not wait: the three threads run beside each other.
  Delivery Post(const HostEvent& event);
  // Waits for all that was posted. False on timeout.
  bool Drain();

  // The handlers as the module last registered them; kept after deinit.
  struct Registration {
    hal_common_event_handler_t common_handler = nullptr;
    void* common_cookie = nullptr;
    usecase_event_handler_t usecase_handler = nullptr;
    void* usecase_cookie = nullptr;
    hal_sensor_callback_t hinge_angle_callback = nullptr;
    void* hinge_angle_cookie = nullptr;
  };
  Registration registration() const;
  // The handle as the module last left it.
  void* handle() const { return handle_; }

  // ---- What the host functions do; `device` has been looked up already. ----
  void* Allocate(size_t size);
  void Free(void* memory);
  int AllocateCommonClient(void** client, std::vector<int32_t> events, int option,
                           hal_common_event_handler_t handler, void* cookie);
  int AllocateUsecaseClient(void** client, std::vector<int32_t> usecases,
                            std::vector<int32_t> events, int option,
                            usecase_event_handler_t handler, void* cookie);
  void FreeCommonClient(void** client);
  void FreeUsecaseClient(void** client);
  int RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie);
  int DeregisterHingeAngle(int client_id);
  int RegisterProximity();
  int DeregisterProximity();
  // Looks the host of a device up, no device being that of an init that got none; a device that is
  // no host's is a violation at the host made last.
  static SimulatedHost* Find(hal_audio_device* device, const char* function);

 private:
  // A client of the event service. Its address is the handle that the module gets.
  struct Client {
    std::set<int32_t> events;
    std::set<int32_t> usecases;
  };

  static int TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code, int32_t reserved,
                         void* reserved_pointer, void* context, const void* data, int64_t size,
                         int64_t reserved_1, int64_t reserved_2);
  int Tune(const void* data, int64_t size);
  // What init gets as its callback.
  static int ModuleEvent(hal_audio_device* device, aud_mdl_handle_event event, void* data,
                         unsigned int data_size, void** reply, unsigned int* reply_size,
                         aud_interacts_op_t op, unsigned int flags);

  // A block of zeros that the host takes back. Entered with mutex_ held.
  void* MakeBlock(size_t size);
  EventThread& Thread(HostEvent::Source source);
  // The task that delivers the event; empty when the module is not to get it.
  std::function<void()> MakeDelivery(const HostEvent& event);
  void CheckAfterInit(const InitResult& result);
  void CheckAfterRelease(const char* when);
  void CheckDeviceRecord(const char* when);
  void CheckHandleIsUntouched(const char* function);
  void ReportCall(const std::string& call) { observer_.OnHostCall(call); }
  void Violate(const std::string& text) { observer_.OnViolation(text); }
  bool IsMissing(const void* argument, const char* function, const char* name);
  void TakeClient(std::optional<Client>& slot, void* const* client, const char* function);

  const LoadedModule& module_;
  HostObserver& observer_;
  hal_audio_device* device_ = nullptr;
  VirtualDsp dsp_;
  std::chrono::milliseconds patience_{10000};

  bool refuse_memory_ = false;
  bool is_handle_preset_ = false;
  std::atomic<bool> is_device_hidden_ = false;
  int common_client_code_ = 0;
  int usecase_client_code_ = 0;
  int hinge_angle_code_ = 0;

  mutable std::mutex mutex_;  // for the fields up to the next blank line
  std::map<void*, std::unique_ptr<unsigned char[]>> memory_;
  std::set<void*> freed_memory_;  // addresses only, for a better message
  std::optional<Client> common_client_;
  std::optional<Client> usecase_client_;
  bool is_hinge_angle_registered_ = false;
  bool was_hinge_angle_refused_ = false;
  bool is_initializing_ = false;
  Registration registration_;

  void* handle_ = nullptr;
  void* preset_handle_ = nullptr;  // what it held when init began
  std::atomic<int> writes_in_progress_ = 0;
  int posted_ = 0;  // events that nobody has waited for yet

  EventThread control_thread_;
  EventThread common_thread_;
  EventThread usecase_thread_;
  EventThread sensor_thread_;
};

}  // namespace brelmo::tavi::simulator
