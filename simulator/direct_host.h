// A host without threads of its own: it calls the module, linked in or loaded, on the thread that
// asks for it. For tests that need every event at once or very many of them; everything else is
// better off with the simulated host.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hal_audio_platform.h"

namespace brelmo::tavi::test {

// One at a time in a process: the host functions that the module calls are this one's. Events may
// be delivered from several threads.
class DirectHost {
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
  DirectHost(const DirectHost&) = delete;
  DirectHost& operator=(const DirectHost&) = delete;
  ~DirectHost();

  void SetTuningEntry(bool is_present);
  int Init(const std::string& config);
  bool has_handle() const { return handle_ != nullptr; }
  void Deinit();
  std::string Dump();

  // Delivery to the handlers registered since init began, deinit or not; `is_cookie_null` loses the
  // cookie. False when there is no handler.
  bool Common(int event, std::optional<int32_t> value, bool is_cookie_null = false);
  bool Usecase(int event, std::optional<int32_t> value, bool is_cookie_null = false);
  bool HingeAngle(int angle, bool is_cookie_null = false);
  // Whether there is a handler.
  bool can_deliver_common() const { return registration().common_handler != nullptr; }
  bool can_deliver_usecase() const { return registration().usecase_handler != nullptr; }
  bool can_deliver_hinge_angle() const { return registration().sensor_callback != nullptr; }
  // Whether a host would deliver: the client, or the callback, is registered.
  bool has_common_client() const;
  bool has_usecase_client() const;
  bool has_sensor() const;

  // The context of the last init as it was when it went back to the host or, if it did not, is now.
  // Null pointers when there was none.
  Context last_context() const;
  // Contexts that did not go back to the host: how many, and takes them back.
  size_t contexts_held() const { return memory_.size(); }
  void FreeContexts();
  std::vector<std::string> TakeViolations();

  // ---- What the host functions do. ----
  static DirectHost* current();
  hal_audio_device* device() { return reinterpret_cast<hal_audio_device*>(device_.data()); }
  void* Allocate(size_t size);
  void Free(void* memory);
  int AllocateClient(void** client, bool is_common);
  void FreeClient(void** client, bool is_common);
  void SetHandler(hal_common_event_handler_t handler, void* cookie);
  void SetHandler(usecase_event_handler_t handler, void* cookie);
  int RegisterSensor(int client_id, hal_sensor_callback_t callback, void* cookie);
  int DeregisterSensor(int client_id);
  int Receive(const void* data, int64_t size);
  void Violate(const std::string& text);

 private:
  // What the host knows of the module.
  struct Registration {
    hal_common_event_handler_t common_handler = nullptr;
    void* common_cookie = nullptr;
    usecase_event_handler_t usecase_handler = nullptr;
    void* usecase_cookie = nullptr;
    hal_sensor_callback_t sensor_callback = nullptr;
    void* sensor_cookie = nullptr;
    bool has_common_client = false;
    bool has_usecase_client = false;
    bool has_sensor = false;
  };
  Registration registration() const;

  const hal_ext_audio_module& module_;
  const Receiver receiver_;
  const Answer answer_;
  std::vector<unsigned char> device_;
  void* handle_ = nullptr;
  std::map<void*, std::unique_ptr<Context>> memory_;
  void* last_memory_ = nullptr;
  Context last_context_{};

  mutable std::mutex mutex_;  // for the rest
  Registration registration_;
  bool was_sensor_refused_ = false;
  std::vector<std::string> violations_;
};

}  // namespace brelmo::tavi::test
