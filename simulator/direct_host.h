// A host without threads of its own: it calls the module, linked in or loaded, on the thread that
// asks for it, and adds next to nothing to what that costs. For what needs very many events or
// every one at once, and for measuring; everything else is better off with the simulated host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hal_audio_platform.h"
#include "host_event.h"
#include "host_functions.h"

namespace brelmo::tavi::simulator {

// Events may be delivered from several threads, beside deinit but not beside init.
class DirectHost final : public HostFunctions {
 public:
  // Takes a block for the DSP and returns the tuning entry's result.
  using Receiver = std::function<int(const unsigned char* data, size_t size)>;

  // Host functions that can fail, and what they return; memory is refused by anything but 0.
  enum class Call { kMemory, kCommonClient, kUsecaseClient, kSensor, kSensorRelease };
  using Answer = std::function<int(Call call)>;

  // What a context holds, in the order of its fields.
  struct Context {
    void* events_listener;
    void* compensation;
    void* sensor_info;
    void* hinge_angle_callback;
  };

  DirectHost(
      const hal_ext_audio_module& module, Receiver receiver,
      Answer answer = [](Call) { return 0; });

  int Init(const std::string& config);
  void* handle() const { return handle_; }
  void Deinit();
  std::string Dump();

  // Delivers to the handlers registered since init began, deinit or not; `is_cookie_null` loses the
  // cookie. False when there is no handler.
  bool Deliver(const HostEvent& event, bool is_cookie_null = false);
  // The same for a hinge reading, for who counts nanoseconds.
  bool HingeAngle(int angle, bool is_cookie_null = false) {
    const Registration& to = registration_;
    if (to.hinge_angle_callback == nullptr) return false;
    if (to.hinge_angle_callback(angle, is_cookie_null ? nullptr : to.hinge_angle_cookie) != 0) {
      Violate("hinge-angle callback: a result other than 0");
    }
    return true;
  }
  // The handlers, which nothing changes but an init.
  const Registration& registration() const { return registration_; }
  // Whether a host would deliver: the client, or the callback, is registered.
  bool has_common_client() const { return IsSet(has_common_client_); }
  bool has_usecase_client() const { return IsSet(has_usecase_client_); }
  bool has_sensor() const { return IsSet(has_sensor_); }

  // The context of the last init as it was when it went back to the host or, if it did not, is now.
  // Null pointers without one.
  Context last_context() const;
  // Contexts that did not go back to the host: how many, and takes them back.
  size_t contexts_held() const { return memory_.size(); }
  void FreeContexts();
  std::vector<std::string> TakeViolations();

  void* Allocate(size_t size) override;
  void Free(void* memory) override;
  int AllocateCommonClient(void** client, const std::vector<int32_t>& events, int option,
                           hal_common_event_handler_t handler, void* cookie) override;
  int AllocateUsecaseClient(void** client, const std::vector<int32_t>& usecases,
                            const std::vector<int32_t>& events, int option,
                            usecase_event_handler_t handler, void* cookie) override;
  void FreeCommonClient(void** client) override { FreeClient(client, has_common_client_); }
  void FreeUsecaseClient(void** client) override { FreeClient(client, has_usecase_client_); }
  int RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie) override;
  int DeregisterHingeAngle(int client_id) override;
  int UseProximity(const char* function) override;
  int Tune(const unsigned char* data, size_t size) override { return receiver_(data, size); }
  void Violate(const std::string& text) override;

 private:
  int AllocateClient(void** client, bool& slot, Call call);
  void FreeClient(void* const* client, bool& slot);
  bool IsSet(const bool& flag) const;

  const hal_ext_audio_module& module_;
  const Receiver receiver_;
  const Answer answer_;
  void* handle_ = nullptr;
  std::map<void*, std::unique_ptr<Context>> memory_;
  void* last_memory_ = nullptr;
  Context last_context_{};
  Registration registration_;

  mutable std::mutex mutex_;  // for the rest
  bool has_common_client_ = false;
  bool has_usecase_client_ = false;
  bool has_sensor_ = false;
  bool was_sensor_refused_ = false;
  std::vector<std::string> violations_;
};

}  // namespace brelmo::tavi::simulator
