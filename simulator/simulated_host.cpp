#include "simulated_host.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>
#include <utility>

#include "dsp_message.h"

// The host's own records, which hal_audio_platform.h leaves open. What surrounds the fields that
// the module may use is filled with a pattern: reading it gives nonsense, writing it is noticed.
struct hal_audio_device {
  unsigned char before[2656];
  hal_tuning_entry_t tuning_entry;
  unsigned char after[256];
};
static_assert(offsetof(hal_audio_device, tuning_entry) == 2656);

struct usecase {
  unsigned char before[12];
  uint32_t value;
  unsigned char after[48];
};
static_assert(offsetof(usecase, value) == 12);

namespace brelmo::tavi::simulator {

namespace {

constexpr unsigned char kFiller = 0xA5;

// What the module must ask for.
constexpr size_t kContextSize = 32;
constexpr int kClientOption = 5;
constexpr int kSensorClientId = 0x54534350;
const std::vector<int32_t> kCommonEvents = {kScreenRotated, kValueAnnounced, kValueWithdrawn};
const std::vector<int32_t> kUsecases = {6, 23, 24};
const std::vector<int32_t> kUsecaseEvents = {kUsecaseStarted, kUsecaseStopped};

constexpr int kInvalidArgument = -22;

std::mutex hosts_mutex;
std::vector<SimulatedHost*> hosts;  // in the order of their making

// What a module gets and may not touch: reading it is a crash.
void* Forbidden() {
  constexpr size_t kPage = 4096;
  static void* const page = [] {
    void* const memory = mmap(nullptr, kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
  }();
  return page;
}

// The event that the current thread is delivering.
thread_local const HostEvent* current_event = nullptr;

std::string ToText(const std::vector<int32_t>& values) {
  std::string text = "{";
  for (const int32_t value : values) {
    if (text.size() > 1) text += ", ";
    text += std::to_string(value);
  }
  return text + "}";
}

std::string ToHex(int value) {
  std::ostringstream text;
  text << "0x" << std::hex << value;
  return text.str();
}

std::string ToText(const void* pointer) {
  if (pointer == nullptr) return "null";
  std::ostringstream text;
  text << pointer;
  return text.str();
}

// Payloads live on the heap for one event each: a sanitizer sees reads past their end and after it.
std::unique_ptr<usecase> MakeUsecase(const std::optional<int32_t>& value) {
  if (!value) return nullptr;
  auto record = std::make_unique<usecase>();
  std::memset(record.get(), kFiller, sizeof(*record));
  record->value = static_cast<uint32_t>(*value);
  return record;
}

}  // namespace

const char* ThreadName(HostEvent::Source source) {
  switch (source) {
    case HostEvent::Source::kCommon:
      return "common";
    case HostEvent::Source::kUsecase:
      return "usecase";
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return "sensor";
}

SimulatedHost::SimulatedHost(const LoadedModule& module, HostObserver& observer)
    : module_(module),
      observer_(observer),
      device_(new hal_audio_device),
      control_thread_("control"),
      common_thread_("common"),
      usecase_thread_("usecase"),
      sensor_thread_("sensor") {
  std::memset(device_->before, kFiller, sizeof(device_->before));
  std::memset(device_->after, kFiller, sizeof(device_->after));
  device_->tuning_entry = TuningEntry;
  const std::lock_guard<std::mutex> lock(hosts_mutex);
  hosts.push_back(this);
}

SimulatedHost::~SimulatedHost() {
  Drain();
  {
    const std::lock_guard<std::mutex> lock(hosts_mutex);
    hosts.erase(std::remove(hosts.begin(), hosts.end(), this), hosts.end());
  }
  delete device_;
}

void SimulatedHost::SetTuningEntry(bool present) {
  device_->tuning_entry = present ? TuningEntry : nullptr;
}

std::chrono::milliseconds SimulatedHost::CallLimit() const {
  // A scenario change is two writes, and each other thread may be at one, too.
  constexpr int kWritesOfAnEvent = 2;
  constexpr int kEventThreads = 3;
  const auto delay = std::chrono::duration_cast<std::chrono::milliseconds>(dsp_.delay());
  return patience_ + delay * kWritesOfAnEvent * (kEventThreads + posted_);
}

// ---- Calls of the module ------------------------------------------------------------------------

SimulatedHost::InitResult SimulatedHost::Init(const char* config) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_initializing_ = true;
    was_hinge_angle_refused_ = false;
    preset_handle_ = handle_ = is_handle_preset_ ? MakeBlock(kContextSize) : nullptr;
  }
  void* const preset = handle_;
  hal_audio_device* const given = is_device_hidden_ ? nullptr : device_;
  const auto result = std::make_shared<int>(0);
  InitResult init;
  init.timed_out = !control_thread_.Run(
      [this, given, config, result] {
        *result = module_.descriptor().init(
            given, ModuleEvent, static_cast<hal_ext_module_ops*>(Forbidden()), config, &handle_);
      },
      CallLimit());
  if (init.timed_out) return init;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_initializing_ = false;
  }
  init.result = *result;
  init.left_handle_alone = handle_ == preset;
  if (preset != nullptr && init.left_handle_alone) handle_ = nullptr;
  init.has_handle = handle_ != nullptr;
  CheckAfterInit(init);
  refuse_memory_ = is_handle_preset_ = false;
  is_device_hidden_ = false;
  common_client_code_ = usecase_client_code_ = hinge_angle_code_ = 0;
  return init;
}

bool SimulatedHost::Deinit() {
  void* const context = handle_;
  const auto result = std::make_shared<int>(0);
  if (!control_thread_.Run(
          [this, result] { *result = module_.descriptor().deinit(device_, &handle_); },
          CallLimit())) {
    return false;
  }
  if (*result != 0) Violate("deinit returned " + std::to_string(*result) + ", not 0");
  if (handle_ != nullptr) Violate("deinit left the handle set");
  CheckAfterRelease("deinit");
  const std::lock_guard<std::mutex> lock(mutex_);
  if (memory_.count(context) != 0) Violate("deinit did not give the context back");
  return true;
}

std::optional<std::string> SimulatedHost::Dump() {
  constexpr off_t kMost = off_t{16} << 20;
  const int fd = memfd_create("dump", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "no file for a dump");
  // It takes no more than that: the offset that the module's writes leave behind is their size.
  if (ftruncate(fd, kMost) == 0) fcntl(fd, F_ADD_SEALS, F_SEAL_GROW);
  const auto result = std::make_shared<int>(0);
  if (!control_thread_.Run([this, fd, result] { *result = module_.descriptor().dump(fd, handle_); },
                           CallLimit())) {
    return std::nullopt;  // the module may still write to fd
  }
  if (*result != 0) Violate("dump returned " + std::to_string(*result) + ", not 0");
  const off_t end = lseek(fd, 0, SEEK_CUR);
  if (end < 0) {
    Violate("dump closed the descriptor that it was given");
    return "";
  }
  if (end >= kMost) Violate("dump wrote 16 MiB or more");
  std::string text(static_cast<size_t>(end), '\0');
  const ssize_t size = pread(fd, text.data(), text.size(), 0);
  text.resize(size < 0 ? 0 : static_cast<size_t>(size));
  close(fd);
  return text;
}

EventThread& SimulatedHost::Thread(HostEvent::Source source) {
  switch (source) {
    case HostEvent::Source::kCommon:
      return common_thread_;
    case HostEvent::Source::kUsecase:
      return usecase_thread_;
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return sensor_thread_;
}

std::function<void()> SimulatedHost::MakeDelivery(const HostEvent& event) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Registration to = registration_;
  switch (event.source) {
    case HostEvent::Source::kCommon: {
      const bool is_wanted = common_client_ && common_client_->events.count(event.number) != 0;
      if (to.common_handler == nullptr || !(is_wanted || event.is_raw)) return {};
      return [this, event, to] {
        current_event = &event;
        const auto payload = event.value ? std::make_unique<int32_t>(*event.value) : nullptr;
        observer_.OnEventBegin(event);
        to.common_handler(event.number, payload.get(), to.common_cookie);
        observer_.OnEventEnd(event);
        current_event = nullptr;
      };
    }
    case HostEvent::Source::kUsecase: {
      const bool is_wanted = usecase_client_ && usecase_client_->events.count(event.number) != 0 &&
                             event.value && usecase_client_->usecases.count(*event.value) != 0;
      if (to.usecase_handler == nullptr || !(is_wanted || event.is_raw)) return {};
      return [this, event, to] {
        current_event = &event;
        const auto record = MakeUsecase(event.value);
        observer_.OnEventBegin(event);
        to.usecase_handler(event.number, record.get(), Forbidden(), to.usecase_cookie);
        observer_.OnEventEnd(event);
        current_event = nullptr;
      };
    }
    case HostEvent::Source::kHingeAngle:
      break;
  }
  if (to.hinge_angle_callback == nullptr || !(is_hinge_angle_registered_ || event.is_raw)) {
    return {};
  }
  return [this, event, to] {
    current_event = &event;
    observer_.OnEventBegin(event);
    const int result = to.hinge_angle_callback(event.value.value_or(0), to.hinge_angle_cookie);
    observer_.OnEventEnd(event);
    current_event = nullptr;
    if (result != 0) {
      Violate("the hinge-angle callback returned " + std::to_string(result) + ", not 0");
    }
  };
}

SimulatedHost::Delivery SimulatedHost::Deliver(const HostEvent& event) {
  std::function<void()> delivery = MakeDelivery(event);
  if (!delivery) return Delivery::kNotRegistered;
  return Thread(event.source).Run(std::move(delivery), CallLimit()) ? Delivery::kDelivered
                                                                    : Delivery::kTimedOut;
}

SimulatedHost::Delivery SimulatedHost::Post(const HostEvent& event) {
  std::function<void()> delivery = MakeDelivery(event);
  if (!delivery) return Delivery::kNotRegistered;
  ++posted_;
  Thread(event.source).Post(std::move(delivery));
  return Delivery::kDelivered;
}

bool SimulatedHost::Drain() {
  const bool is_drained = common_thread_.Drain(CallLimit()) && usecase_thread_.Drain(CallLimit()) &&
                          sensor_thread_.Drain(CallLimit());
  if (is_drained) posted_ = 0;
  return is_drained;
}

SimulatedHost::Registration SimulatedHost::registration() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return registration_;
}

// ---- The contract -------------------------------------------------------------------------------

void SimulatedHost::CheckAfterInit(const InitResult& init) {
  CheckDeviceRecord("init");
  if (init.has_handle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (init.result != 0) {
      Violate("init returned " + std::to_string(init.result) + " and left a handle");
    }
    if (memory_.count(handle_) == 0) Violate("init handed out memory that is not the host's");
    if (!common_client_) Violate("init succeeded without a common-event client");
    return;
  }
  if (init.result != 0 && init.result != -1 && init.result != -12) {
    Violate("init returned " + std::to_string(init.result) + ", expected 0, -1 or -12");
  }
  if (init.result == -12 && !refuse_memory_) {
    Violate("init reports that memory was refused, which it was not");
  }
  CheckAfterRelease("an init that handed out nothing");
}

void SimulatedHost::CheckAfterRelease(const char* when) {
  const std::string behind = std::string(" after ") + when;
  CheckDeviceRecord(when);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (common_client_) Violate("the common-event client was not freed" + behind);
  if (usecase_client_) Violate("the use-case event client was not freed" + behind);
  if (is_hinge_angle_registered_) {
    Violate("the hinge-angle callback was not deregistered" + behind);
  }
}

void SimulatedHost::CheckDeviceRecord(const char* when) {
  const auto is_filler = [](unsigned char byte) { return byte == kFiller; };
  if (!std::all_of(std::begin(device_->before), std::end(device_->before), is_filler) ||
      !std::all_of(std::begin(device_->after), std::end(device_->after), is_filler)) {
    Violate(std::string("the device record was written to before the end of ") + when);
    std::memset(device_->before, kFiller, sizeof(device_->before));
    std::memset(device_->after, kFiller, sizeof(device_->after));
  }
}

int SimulatedHost::ModuleEvent(hal_audio_device* device, aud_mdl_handle_event /*event*/,
                               void* /*data*/, unsigned int /*data_size*/, void** /*reply*/,
                               unsigned int* /*reply_size*/, aud_interacts_op_t /*op*/,
                               unsigned int /*flags*/) {
  SimulatedHost* const host = Find(device, "module-event callback");
  if (host != nullptr) host->Violate("the module called the module-event callback");
  return kInvalidArgument;
}

void SimulatedHost::CheckHandleIsUntouched(const char* function) {
  if (is_initializing_ && handle_ != preset_handle_) {
    Violate(std::string(function) + ": init has set the handle before its outcome is known");
  }
}

bool SimulatedHost::IsMissing(const void* argument, const char* function, const char* name) {
  if (argument != nullptr) return false;
  Violate(std::string(function) + ": null " + name);
  return true;
}

SimulatedHost* SimulatedHost::Find(hal_audio_device* device, const char* function) {
  const std::lock_guard<std::mutex> lock(hosts_mutex);
  for (SimulatedHost* const host : hosts) {
    if (host->device_ == device || (device == nullptr && host->is_device_hidden_)) return host;
  }
  if (!hosts.empty()) {
    hosts.back()->Violate(std::string(function) + ": " + ToText(device) + " is not the device");
  }
  return nullptr;
}

// ---- Memory -------------------------------------------------------------------------------------

void* SimulatedHost::Allocate(size_t size) {
  const std::string call = "audio_hal_calloc(" + std::to_string(size) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  if (size != kContextSize) {
    Violate(call + ": the context has " + std::to_string(kContextSize) + " bytes");
  }
  if (!is_initializing_) Violate(call + " outside init");
  if (refuse_memory_) {
    ReportCall(call + " = null");
    return nullptr;
  }
  ReportCall(call);
  return MakeBlock(size);
}

void* SimulatedHost::MakeBlock(size_t size) {
  auto memory = std::make_unique<unsigned char[]>(size);
  void* const block = memory.get();
  memory_.emplace(block, std::move(memory));
  freed_memory_.erase(block);
  return block;
}

void SimulatedHost::Free(void* memory) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const char* const name = memory == nullptr                       ? "null"
                           : is_initializing_ && memory == handle_ ? "what the handle held"
                                                                   : "context";
  ReportCall(std::string("audio_hal_free(") + name + ")");
  if (memory == nullptr) return;
  if (memory_.erase(memory) == 0) {
    Violate(freed_memory_.count(memory) != 0
                ? "audio_hal_free: a block was freed twice"
                : "audio_hal_free: " + ToText(memory) + " is not the host's memory");
    return;
  }
  freed_memory_.insert(memory);
}

// ---- Event service ------------------------------------------------------------------------------

int SimulatedHost::AllocateCommonClient(void** client, std::vector<int32_t> events, int option,
                                        hal_common_event_handler_t handler, void* cookie) {
  constexpr const char* kFunction = "event_allocate_common_event_client";
  const std::string call = std::string(kFunction) + "(events " + ToText(events) + ", option " +
                           std::to_string(option) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call + " = " + std::to_string(common_client_code_));
  CheckHandleIsUntouched(kFunction);
  if (IsMissing(client, kFunction, "client") ||
      IsMissing(reinterpret_cast<const void*>(handler), kFunction, "handler")) {
    return kInvalidArgument;
  }
  IsMissing(cookie, kFunction, "cookie");
  if (!is_initializing_) Violate(call + " outside init");
  if (events != kCommonEvents) Violate(call + ": expected events " + ToText(kCommonEvents));
  if (option != kClientOption) {
    Violate(call + ": expected option " + std::to_string(kClientOption));
  }
  if (common_client_) Violate(call + ": there is a common-event client already");
  if (common_client_code_ != 0) return common_client_code_;
  common_client_ = Client{{events.begin(), events.end()}, {}};
  registration_.common_handler = handler;
  registration_.common_cookie = cookie;
  *client = &common_client_;
  return 0;
}

int SimulatedHost::AllocateUsecaseClient(void** client, std::vector<int32_t> usecases,
                                         std::vector<int32_t> events, int option,
                                         usecase_event_handler_t handler, void* cookie) {
  constexpr const char* kFunction = "event_allocate_usecase_event_client";
  const std::string call = std::string(kFunction) + "(use cases " + ToText(usecases) + ", events " +
                           ToText(events) + ", option " + std::to_string(option) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call + " = " + std::to_string(usecase_client_code_));
  CheckHandleIsUntouched(kFunction);
  if (IsMissing(client, kFunction, "client") ||
      IsMissing(reinterpret_cast<const void*>(handler), kFunction, "handler")) {
    return kInvalidArgument;
  }
  IsMissing(cookie, kFunction, "cookie");
  if (!is_initializing_) Violate(call + " outside init");
  if (usecases != kUsecases) Violate(call + ": expected use cases " + ToText(kUsecases));
  if (events != kUsecaseEvents) Violate(call + ": expected events " + ToText(kUsecaseEvents));
  if (option != kClientOption) {
    Violate(call + ": expected option " + std::to_string(kClientOption));
  }
  if (usecase_client_) Violate(call + ": there is a use-case event client already");
  if (!common_client_) Violate(call + " before the common-event client was allocated");
  if (usecase_client_code_ != 0) return usecase_client_code_;
  usecase_client_ = Client{{events.begin(), events.end()}, {usecases.begin(), usecases.end()}};
  registration_.usecase_handler = handler;
  registration_.usecase_cookie = cookie;
  *client = &usecase_client_;
  return 0;
}

void SimulatedHost::TakeClient(std::optional<Client>& slot, void* const* client,
                               const char* function) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(std::string(function) + "()");
  if (IsMissing(client, function, "client")) return;
  if (*client != &slot) {
    Violate(std::string(function) + ": " + ToText(*client) + " is not the client");
  } else if (!slot) {
    Violate(std::string(function) + ": the client was freed already");
  } else {
    // The module's handle stays as it is: forgetting it is the module's business.
    slot.reset();
  }
}

void SimulatedHost::FreeCommonClient(void** client) {
  TakeClient(common_client_, client, "event_free_common_event_client");
}

void SimulatedHost::FreeUsecaseClient(void** client) {
  TakeClient(usecase_client_, client, "event_free_usecase_event_client");
}

// ---- Sensor service -----------------------------------------------------------------------------

int SimulatedHost::RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie) {
  constexpr const char* kFunction = "sensor_registerHingeAngleSensorCallback";
  const std::string call = std::string(kFunction) + "(client " + ToHex(client_id) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call + " = " + std::to_string(hinge_angle_code_));
  CheckHandleIsUntouched(kFunction);
  if (IsMissing(reinterpret_cast<const void*>(callback), kFunction, "callback")) {
    return kInvalidArgument;
  }
  IsMissing(cookie, kFunction, "cookie");
  if (client_id != kSensorClientId) {
    Violate(call + ": expected client " + ToHex(kSensorClientId));
  }
  if (!is_initializing_) Violate(call + " outside init");
  if (is_hinge_angle_registered_) Violate(call + ": there is a callback already");
  if (!common_client_) Violate(call + " before the event clients were allocated");
  if (hinge_angle_code_ != 0) {
    was_hinge_angle_refused_ = true;
    return hinge_angle_code_;
  }
  is_hinge_angle_registered_ = true;
  registration_.hinge_angle_callback = callback;
  registration_.hinge_angle_cookie = cookie;
  return 0;
}

int SimulatedHost::DeregisterHingeAngle(int client_id) {
  const std::string call =
      "sensor_deregisterHingeAngleSensorCallback(client " + ToHex(client_id) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call);
  if (client_id != kSensorClientId) {
    Violate(call + ": expected client " + ToHex(kSensorClientId));
    return kInvalidArgument;
  }
  if (!is_hinge_angle_registered_) {
    // The module deregisters after a refusal too.
    if (!std::exchange(was_hinge_angle_refused_, false)) Violate(call + ": is not registered");
    return kInvalidArgument;
  }
  is_hinge_angle_registered_ = false;
  return 0;
}

int SimulatedHost::RegisterProximity() {
  ReportCall("sensor_registerProximitySensorCallback()");
  Violate("sensor_registerProximitySensorCallback: the module has no use for that sensor");
  return kInvalidArgument;
}

int SimulatedHost::DeregisterProximity() {
  ReportCall("sensor_deregisterProximitySensorCallback()");
  Violate("sensor_deregisterProximitySensorCallback: the module has no use for that sensor");
  return kInvalidArgument;
}

// ---- Tuning -------------------------------------------------------------------------------------

int SimulatedHost::TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code,
                               int32_t reserved, void* reserved_pointer, void* context,
                               const void* data, int64_t size, int64_t reserved_1,
                               int64_t reserved_2) {
  constexpr int32_t kCode = 16;
  constexpr int32_t kSubCode = 10;
  SimulatedHost* const host = Find(device, "tuning entry");
  if (host == nullptr) return kInvalidArgument;
  if (code != kCode || sub_code != kSubCode || reserved != 0 || reserved_pointer != nullptr ||
      context != nullptr || reserved_1 != 0 || reserved_2 != 0) {
    host->Violate("tuning entry: arguments " + std::to_string(code) + ", " +
                  std::to_string(sub_code) + ", " + std::to_string(reserved) + ", " +
                  ToText(reserved_pointer) + ", " + ToText(context) + ", data, size, " +
                  std::to_string(reserved_1) + ", " + std::to_string(reserved_2) +
                  "; expected 16, 10, 0, null, null, data, size, 0, 0");
  }
  if (host->IsMissing(data, "tuning entry", "data")) return kInvalidArgument;
  if (size <= 0) {
    host->Violate("tuning entry: a size of " + std::to_string(size));
    return kInvalidArgument;
  }
  if (current_event == nullptr) {
    host->Violate("tuning entry: called from a thread that holds no event");
  }
  if (host->writes_in_progress_.fetch_add(1) != 0) {
    host->Violate("tuning entry: two writes at the same time");
  }
  const int result = host->Tune(data, size);
  host->writes_in_progress_.fetch_sub(1);
  return result;
}

int SimulatedHost::Tune(const void* data, int64_t size) {
  const DspWrite write =
      dsp_.Receive(static_cast<const unsigned char*>(data), static_cast<size_t>(size));
  observer_.OnWrite(write);
  const auto& messages = write.parsed.messages;
  if (const auto& damage = write.parsed.damage) {
    Violate("a write of " + std::to_string(size) + " bytes makes no sense at offset " +
            std::to_string(damage->offset) + ": " + damage->reason);
  } else if (messages.size() > 1) {
    std::set<int32_t> types;
    for (const DspMessage& message : messages) {
      if (!message.is_response()) Violate("a module status beside other messages in one write");
      if (!types.insert(message.type).second) {
        Violate(std::string("two messages for the ") + DspMessageTypeName(message.type) +
                " channel in one write");
      }
    }
  }
  return write.result;
}

}  // namespace brelmo::tavi::simulator
