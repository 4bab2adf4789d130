#include "direct_host.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "host_records.h"

namespace brelmo::tavi::simulator {

DirectHost::DirectHost(const hal_ext_audio_module& module, Receiver receiver, Answer answer)
    : module_(module), receiver_(std::move(receiver)), answer_(std::move(answer)) {}

void DirectHost::FreeContexts() {
  memory_.clear();
  last_memory_ = nullptr;
}

int DirectHost::Init(const std::string& config) {
  last_memory_ = nullptr;
  last_context_ = {};
  registration_ = {};
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    has_common_client_ = has_usecase_client_ = has_sensor_ = was_sensor_refused_ = false;
  }
  return module_.init(device(), nullptr, nullptr, config.c_str(), &handle_);
}

void DirectHost::Deinit() {
  if (module_.deinit(device(), &handle_) != 0) Violate("deinit: a result other than 0");
  if (handle_ != nullptr) Violate("deinit: the handle is still set");
}

std::string DirectHost::Dump() {
  const int fd = memfd_create("dump", MFD_CLOEXEC);
  if (fd < 0) std::abort();
  if (module_.dump(fd, handle_) != 0) Violate("dump: a result other than 0");
  std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
  if (pread(fd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) std::abort();
  close(fd);
  return text;
}

// Payloads are no part of anything else: a sanitizer sees reads beside them.
bool DirectHost::Deliver(const HostEvent& event, bool is_cookie_null) {
  const Registration& to = registration_;
  switch (event.source) {
    case HostEvent::Source::kCommon: {
      if (to.common_handler == nullptr) return false;
      int32_t payload = event.value.value_or(0);
      to.common_handler(event.number, event.value ? &payload : nullptr,
                        is_cookie_null ? nullptr : to.common_cookie);
      return true;
    }
    case HostEvent::Source::kUsecase: {
      if (to.usecase_handler == nullptr) return false;
      UsecaseRecord record(static_cast<uint32_t>(event.value.value_or(0)));
      to.usecase_handler(event.number, event.value ? record.get() : nullptr, nullptr,
                         is_cookie_null ? nullptr : to.usecase_cookie);
      return true;
    }
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return HingeAngle(event.value.value_or(0), is_cookie_null);
}

DirectHost::Context DirectHost::last_context() const {
  Context context = last_context_;
  if (memory_.count(last_memory_) != 0) std::memcpy(&context, last_memory_, sizeof(context));
  return context;
}

std::vector<std::string> DirectHost::TakeViolations() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(violations_, {});
}

void DirectHost::Violate(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  violations_.push_back(text);
}

bool DirectHost::IsSet(const bool& flag) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return flag;
}

// ---- Host functions -----------------------------------------------------------------------------

void* DirectHost::Allocate(size_t size) {
  static_assert(sizeof(Context) == kContextSize);
  if (size != kContextSize) {
    Violate("audio_hal_calloc: wrong size");
    return nullptr;
  }
  if (answer_(Call::kMemory) != 0) return nullptr;
  auto context = std::make_unique<Context>();
  last_memory_ = context.get();
  memory_.emplace(last_memory_, std::move(context));
  return last_memory_;
}

void DirectHost::Free(void* memory) {
  if (memory == nullptr) return;
  if (memory == last_memory_) last_context_ = last_context();
  if (memory_.erase(memory) == 0) Violate("audio_hal_free: not this host's memory, or no longer");
}

int DirectHost::AllocateClient(void** client, bool& slot, Call call) {
  if (const int code = answer_(call)) return code;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (slot) violations_.emplace_back("an event client was allocated twice");
  slot = true;
  *client = &slot;
  return 0;
}

void DirectHost::FreeClient(void* const* client, bool& slot) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (*client != &slot || !slot) violations_.emplace_back("an event client freed that is none");
  slot = false;
}

int DirectHost::AllocateCommonClient(void** client, const std::vector<int32_t>& /*events*/,
                                     int /*option*/, hal_common_event_handler_t handler,
                                     void* cookie) {
  const int result = AllocateClient(client, has_common_client_, Call::kCommonClient);
  if (result != 0) return result;
  registration_.common_handler = handler;
  registration_.common_cookie = cookie;
  return 0;
}

int DirectHost::AllocateUsecaseClient(void** client, const std::vector<int32_t>& /*usecases*/,
                                      const std::vector<int32_t>& /*events*/, int /*option*/,
                                      usecase_event_handler_t handler, void* cookie) {
  const int result = AllocateClient(client, has_usecase_client_, Call::kUsecaseClient);
  if (result != 0) return result;
  registration_.usecase_handler = handler;
  registration_.usecase_cookie = cookie;
  return 0;
}

int DirectHost::RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie) {
  const int code = answer_(Call::kSensor);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (client_id != kSensorClientId) violations_.emplace_back("sensor: wrong client id");
  if (has_sensor_) violations_.emplace_back("the sensor was registered twice");
  was_sensor_refused_ = code != 0;
  if (was_sensor_refused_) return code;
  has_sensor_ = true;
  registration_.hinge_angle_callback = callback;
  registration_.hinge_angle_cookie = cookie;
  return 0;
}

int DirectHost::DeregisterHingeAngle(int client_id) {
  const int code = answer_(Call::kSensorRelease);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (client_id != kSensorClientId) violations_.emplace_back("sensor: wrong client id");
  if (!has_sensor_ && !std::exchange(was_sensor_refused_, false)) {
    violations_.emplace_back("the sensor was deregistered and not registered");
  }
  has_sensor_ = false;
  return code;
}

int DirectHost::UseProximity(const char* function) {
  Violate(std::string(function) + ": of no use");
  return kNoSuchDevice;
}

}  // namespace brelmo::tavi::simulator
