#include "direct_host.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace brelmo::tavi::test {

namespace {

constexpr size_t kDeviceSize = 3000;
constexpr size_t kTuningEntryOffset = 2656;
constexpr size_t kUsecaseValueOffset = 12;
constexpr int kSensorClientId = 0x54534350;
constexpr int kInvalidArgument = -22;

DirectHost* current_host = nullptr;

int TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code, int32_t reserved,
                void* reserved_pointer, void* context, const void* data, int64_t size,
                int64_t reserved_1, int64_t reserved_2) {
  DirectHost& host = *DirectHost::current();
  if (device != host.device() || code != 16 || sub_code != 10 || reserved != 0 ||
      reserved_pointer != nullptr || context != nullptr || data == nullptr || size <= 0 ||
      reserved_1 != 0 || reserved_2 != 0) {
    host.Violate("tuning entry: wrong arguments");
    return kInvalidArgument;
  }
  return host.Receive(data, size);
}

}  // namespace

DirectHost* DirectHost::current() { return current_host; }

DirectHost::DirectHost(const hal_ext_audio_module& module, Receiver receiver, Answer answer)
    : module_(module),
      receiver_(std::move(receiver)),
      answer_(std::move(answer)),
      device_(kDeviceSize, 0xA5) {
  SetTuningEntry(true);
  current_host = this;
}

DirectHost::~DirectHost() {
  FreeContexts();
  current_host = nullptr;
}

void DirectHost::FreeContexts() {
  memory_.clear();
  last_memory_ = nullptr;
}

void DirectHost::SetTuningEntry(bool is_present) {
  const hal_tuning_entry_t entry = is_present ? TuningEntry : nullptr;
  std::memcpy(device_.data() + kTuningEntryOffset, &entry, sizeof(entry));
}

int DirectHost::Init(const std::string& config) {
  last_memory_ = nullptr;
  last_context_ = {};
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    registration_ = {};
    was_sensor_refused_ = false;
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

// Payloads are on the heap, in blocks of just their size: a sanitizer sees reads beside them.

bool DirectHost::Common(int event, std::optional<int32_t> value, bool is_cookie_null) {
  const Registration to = registration();
  if (to.common_handler == nullptr) return false;
  const auto payload = value ? std::make_unique<int32_t>(*value) : nullptr;
  to.common_handler(event, payload.get(), is_cookie_null ? nullptr : to.common_cookie);
  return true;
}

bool DirectHost::Usecase(int event, std::optional<int32_t> value, bool is_cookie_null) {
  const Registration to = registration();
  if (to.usecase_handler == nullptr) return false;
  using Record = std::array<unsigned char, kUsecaseValueOffset + sizeof(int32_t)>;
  std::unique_ptr<Record> record;
  if (value) {
    record = std::make_unique<Record>();
    record->fill(0xA5);
    std::memcpy(record->data() + kUsecaseValueOffset, &*value, sizeof(*value));
  }
  to.usecase_handler(event, reinterpret_cast<usecase*>(record.get()), nullptr,
                     is_cookie_null ? nullptr : to.usecase_cookie);
  return true;
}

bool DirectHost::HingeAngle(int angle, bool is_cookie_null) {
  const Registration to = registration();
  if (to.sensor_callback == nullptr) return false;
  if (to.sensor_callback(angle, is_cookie_null ? nullptr : to.sensor_cookie) != 0) {
    Violate("hinge-angle callback: a result other than 0");
  }
  return true;
}

DirectHost::Registration DirectHost::registration() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return registration_;
}

bool DirectHost::has_common_client() const { return registration().has_common_client; }
bool DirectHost::has_usecase_client() const { return registration().has_usecase_client; }
bool DirectHost::has_sensor() const { return registration().has_sensor; }

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

void* DirectHost::Allocate(size_t size) {
  if (size != sizeof(Context)) {
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

int DirectHost::AllocateClient(void** client, bool is_common) {
  if (const int code = answer_(is_common ? Call::kCommonClient : Call::kUsecaseClient)) return code;
  const std::lock_guard<std::mutex> lock(mutex_);
  bool& slot = is_common ? registration_.has_common_client : registration_.has_usecase_client;
  if (slot) violations_.emplace_back("an event client was allocated twice");
  slot = true;
  *client = &slot;
  return 0;
}

void DirectHost::FreeClient(void** client, bool is_common) {
  const std::lock_guard<std::mutex> lock(mutex_);
  bool& slot = is_common ? registration_.has_common_client : registration_.has_usecase_client;
  if (*client != &slot || !slot) violations_.emplace_back("an event client freed that is none");
  slot = false;
}

void DirectHost::SetHandler(hal_common_event_handler_t handler, void* cookie) {
  const std::lock_guard<std::mutex> lock(mutex_);
  registration_.common_handler = handler;
  registration_.common_cookie = cookie;
}

void DirectHost::SetHandler(usecase_event_handler_t handler, void* cookie) {
  const std::lock_guard<std::mutex> lock(mutex_);
  registration_.usecase_handler = handler;
  registration_.usecase_cookie = cookie;
}

int DirectHost::RegisterSensor(int client_id, hal_sensor_callback_t callback, void* cookie) {
  const int code = answer_(Call::kSensor);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (client_id != kSensorClientId) violations_.emplace_back("sensor: wrong client id");
  if (registration_.has_sensor) violations_.emplace_back("the sensor was registered twice");
  was_sensor_refused_ = code != 0;
  if (was_sensor_refused_) return code;
  registration_.has_sensor = true;
  registration_.sensor_callback = callback;
  registration_.sensor_cookie = cookie;
  return 0;
}

int DirectHost::DeregisterSensor(int client_id) {
  const int code = answer_(Call::kSensorRelease);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (client_id != kSensorClientId) violations_.emplace_back("sensor: wrong client id");
  if (!registration_.has_sensor && !std::exchange(was_sensor_refused_, false)) {
    violations_.emplace_back("the sensor was deregistered and not registered");
  }
  registration_.has_sensor = false;
  return code;
}

int DirectHost::Receive(const void* data, int64_t size) {
  return receiver_(static_cast<const unsigned char*>(data), static_cast<size_t>(size));
}

}  // namespace brelmo::tavi::test

using brelmo::tavi::test::DirectHost;

namespace {

constexpr int kNoDevice = -19;

// The host of `device`; a device that is none is a violation.
DirectHost* Find(hal_audio_device* device, const char* function) {
  DirectHost* const host = DirectHost::current();
  if (host == nullptr) std::abort();
  if (device == host->device()) return host;
  host->Violate(std::string(function) + ": not the device");
  return nullptr;
}

}  // namespace

#define TAVI_EXPORT __attribute__((visibility("default")))

extern "C" {

TAVI_EXPORT void* audio_hal_calloc(hal_audio_device* device, size_t size) {
  auto* const host = Find(device, __func__);
  return host == nullptr ? nullptr : host->Allocate(size);
}

TAVI_EXPORT void audio_hal_free(hal_audio_device* device, void* memory) {
  if (auto* const host = Find(device, __func__)) host->Free(memory);
}

TAVI_EXPORT int event_allocate_common_event_client(hal_audio_device* device, void** client,
                                                   const hal_common_event_t* /*events*/,
                                                   int /*event_count*/, int /*option*/,
                                                   hal_common_event_handler_t handler,
                                                   void* cookie) {
  auto* const host = Find(device, __func__);
  const int result = host == nullptr ? kNoDevice : host->AllocateClient(client, true);
  if (result == 0) host->SetHandler(handler, cookie);
  return result;
}

TAVI_EXPORT int event_allocate_usecase_event_client(hal_audio_device* device, void** client,
                                                    const int32_t* /*usecases*/,
                                                    int /*usecase_count*/,
                                                    const usecase_event_t* /*events*/,
                                                    int /*event_count*/, int /*option*/,
                                                    usecase_event_handler_t handler, void* cookie) {
  auto* const host = Find(device, __func__);
  const int result = host == nullptr ? kNoDevice : host->AllocateClient(client, false);
  if (result == 0) host->SetHandler(handler, cookie);
  return result;
}

TAVI_EXPORT void event_free_common_event_client(hal_audio_device* device, void** client) {
  if (auto* const host = Find(device, __func__)) host->FreeClient(client, true);
}

TAVI_EXPORT void event_free_usecase_event_client(hal_audio_device* device, void** client) {
  if (auto* const host = Find(device, __func__)) host->FreeClient(client, false);
}

TAVI_EXPORT int sensor_registerHingeAngleSensorCallback(hal_audio_device* device, int client_id,
                                                        hal_sensor_callback_t callback,
                                                        void* cookie) {
  auto* const host = Find(device, __func__);
  return host == nullptr ? kNoDevice : host->RegisterSensor(client_id, callback, cookie);
}

TAVI_EXPORT int sensor_deregisterHingeAngleSensorCallback(hal_audio_device* device, int client_id) {
  auto* const host = Find(device, __func__);
  return host == nullptr ? kNoDevice : host->DeregisterSensor(client_id);
}

TAVI_EXPORT int sensor_registerProximitySensorCallback(hal_audio_device* device, int /*client_id*/,
                                                       hal_sensor_callback_t /*callback*/,
                                                       void* /*cookie*/) {
  if (auto* const host = Find(device, __func__)) host->Violate("proximity sensor: of no use");
  return kNoDevice;
}

TAVI_EXPORT int sensor_deregisterProximitySensorCallback(hal_audio_device* device,
                                                         int /*client_id*/) {
  if (auto* const host = Find(device, __func__)) host->Violate("proximity sensor: of no use");
  return kNoDevice;
}

}  // extern "C"
