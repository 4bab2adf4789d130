// The host audio HAL and its device, simulated: memory, event service, sensor service, tuning entry
// and DSP. It calls a module as a host does and holds it to the host's contract.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "event_thread.h"
#include "hal_audio_platform.h"
#include "host_event.h"
#include "host_functions.h"
#include "host_observer.h"
#include "host_services.h"
#include "loaded_module.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::simulator {

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

  hal_audio_device* device() { return services_.device(); }
  VirtualDsp& dsp() { return services_.dsp(); }

  // Faults at the next init; `code` is what the host function returns instead of 0.
  void RefuseMemory() { services_.faults().refuses_memory = true; }
  void RefuseCommonClient(int code) { services_.faults().common_client_code = code; }
  void RefuseUsecaseClient(int code) { services_.faults().usecase_client_code = code; }
  void RefuseHingeAngle(int code) { services_.faults().hinge_angle_code = code; }
  // The handle of the next init holds a block of the host's memory. After an init that leaves it
  // there, the handle is null again.
  void PresetHandle() { services_.faults().presets_handle = true; }
  // The next init gets no device.
  void HideDevice() { services_.faults().hides_device = true; }
  // Publishes the tuning entry or takes it away. Only between events.
  void SetTuningEntry(bool present) { services_.SetTuningEntry(present); }
  // How long the module may take with a call, beyond the time that the DSP is told to take.
  void SetPatience(std::chrono::milliseconds patience) { patience_ = patience; }
  // How long that is now.
  std::chrono::milliseconds CallLimit() const;

  // Each calls the module on the control thread and waits. `config` may be null.
  InitResult Init(const char* config);
  // False on timeout. Only after an init that handed out a handle.
  bool Deinit();
  // Empty on timeout. At any time.
  std::optional<std::string> Dump();

  // Delivers on the event's thread and waits until the module returned.
  Delivery Deliver(const HostEvent& event);
  // The same, but does not wait: the three threads run beside each other.
  Delivery Post(const HostEvent& event);
  // Waits for all that was posted. False on timeout.
  bool Drain();

  // The module's handlers; kept after deinit.
  Registration registration() const { return services_.registration(); }
  // The handle as the module last left it.
  void* handle() { return *services_.handle(); }

 private:
  // What init gets as its callback.
  static int ModuleEvent(hal_audio_device* device, aud_mdl_handle_event event, void* data,
                         unsigned int data_size, void** reply, unsigned int* reply_size,
                         aud_interacts_op_t op, unsigned int flags);

  EventThread& Thread(HostEvent::Source source);
  // The task that delivers the event; empty when the module is not to get it.
  std::function<void()> MakeDelivery(const HostEvent& event);

  const LoadedModule& module_;
  HostObserver& observer_;
  HostServices services_;
  std::chrono::milliseconds patience_{10000};
  int posted_ = 0;  // events that nobody has waited for yet

  EventThread control_thread_;
  EventThread common_thread_;
  EventThread usecase_thread_;
  EventThread sensor_thread_;
};

}  // namespace brelmo::tavi::simulator
