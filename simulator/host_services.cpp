#include "host_services.h"

#include <sstream>
#include <utility>

#include "dsp_message.h"
#include "host_records.h"

namespace brelmo::tavi::simulator {

namespace {

// What the module must ask for.
constexpr int kClientOption = 5;
const std::vector<int32_t> kCommonEvents = {kScreenRotated, kValueAnnounced, kValueWithdrawn};
const std::vector<int32_t> kUsecases = {6, 23, 24};
const std::vector<int32_t> kUsecaseEvents = {kUsecaseStarted, kUsecaseStopped};

thread_local bool holds_event = false;

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

}  // namespace

HostServices::EventScope::EventScope() { holds_event = true; }
HostServices::EventScope::~EventScope() { holds_event = false; }

Registration HostServices::registration() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return registration_;
}

bool HostServices::IsWanted(const HostEvent& event) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  switch (event.source) {
    case HostEvent::Source::kCommon:
      return common_client_ && common_client_->events.count(event.number) != 0;
    case HostEvent::Source::kUsecase:
      return usecase_client_ && usecase_client_->events.count(event.number) != 0 && event.value &&
             usecase_client_->usecases.count(*event.value) != 0;
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return is_hinge_angle_registered_;
}

// ---- Init and deinit ----------------------------------------------------------------------------

hal_audio_device* HostServices::BeginInit() {
  const std::lock_guard<std::mutex> lock(mutex_);
  is_initializing_ = true;
  was_hinge_angle_refused_ = false;
  preset_handle_ = handle_ = faults_.presets_handle ? MakeBlock(kContextSize) : nullptr;
  HideDevice(faults_.hides_device);
  return faults_.hides_device ? nullptr : device();
}

bool HostServices::EndInit(int result) {
  const std::lock_guard<std::mutex> lock(mutex_);
  is_initializing_ = false;
  const bool is_handle_left_alone = handle_ == preset_handle_;
  // The block of PresetHandle is no context.
  if (is_handle_left_alone) handle_ = nullptr;
  CheckHandOut(result);
  faults_ = {};
  HideDevice(false);
  return is_handle_left_alone;
}

void HostServices::EndDeinit(int result, void* context) {
  if (result != 0) Violate("deinit returned " + std::to_string(result) + ", not 0");
  if (handle_ != nullptr) Violate("deinit left the handle set");
  const std::lock_guard<std::mutex> lock(mutex_);
  CheckRelease("deinit");
  if (memory_.count(context) != 0) Violate("deinit did not give the context back");
}

void HostServices::CheckHandOut(int result) {
  CheckDeviceRecord("init");
  if (handle_ != nullptr) {
    if (result != 0) Violate("init returned " + std::to_string(result) + " and left a handle");
    if (memory_.count(handle_) == 0) Violate("init handed out memory that is not the host's");
    if (!common_client_) Violate("init succeeded without a common-event client");
    return;
  }
  if (result != 0 && result != -1 && result != -12) {
    Violate("init returned " + std::to_string(result) + ", expected 0, -1 or -12");
  }
  if (result == -12 && !faults_.refuses_memory) {
    Violate("init reports that memory was refused, which it was not");
  }
  CheckRelease("an init that handed out nothing");
}

void HostServices::CheckRelease(const char* when) {
  const std::string behind = std::string(" after ") + when;
  CheckDeviceRecord(when);
  if (common_client_) Violate("the common-event client was not freed" + behind);
  if (usecase_client_) Violate("the use-case event client was not freed" + behind);
  if (is_hinge_angle_registered_) {
    Violate("the hinge-angle callback was not deregistered" + behind);
  }
}

void HostServices::CheckDeviceRecord(const char* when) {
  if (!device_record().IsUntouched()) {
    Violate(std::string("the device record was written to before the end of ") + when);
  }
}

void HostServices::CheckHandleIsUntouched(const char* function) {
  if (is_initializing_ && handle_ != preset_handle_) {
    Violate(std::string(function) + ": init has set the handle before its outcome is known");
  }
}

bool HostServices::IsMissing(const void* argument, const char* function, const char* name) {
  if (argument != nullptr) return false;
  Violate(std::string(function) + ": null " + name);
  return true;
}

// ---- Memory -------------------------------------------------------------------------------------

void* HostServices::Allocate(size_t size) {
  const std::string call = "audio_hal_calloc(" + std::to_string(size) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  if (size != kContextSize) {
    Violate(call + ": the context has " + std::to_string(kContextSize) + " bytes");
  }
  if (!is_initializing_) Violate(call + " outside init");
  if (faults_.refuses_memory) {
    ReportCall(call + " = null");
    return nullptr;
  }
  ReportCall(call);
  return MakeBlock(size);
}

void* HostServices::MakeBlock(size_t size) {
  auto memory = std::make_unique<unsigned char[]>(size);
  void* const block = memory.get();
  memory_.emplace(block, std::move(memory));
  freed_memory_.erase(block);
  return block;
}

void HostServices::Free(void* memory) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const char* const name = memory == nullptr                       ? "null"
                           : is_initializing_ && memory == handle_ ? "what the handle held"
                                                                   : "context";
  ReportCall(std::string("audio_hal_free(") + name + ")");
  if (memory == nullptr) return;
  if (memory_.erase(memory) == 0) {
    Violate(freed_memory_.count(memory) != 0
                ? "audio_hal_free: a block was freed twice"
                : "audio_hal_free: " + PointerText(memory) + " is not the host's memory");
    return;
  }
  freed_memory_.insert(memory);
}

// ---- Event service ------------------------------------------------------------------------------

bool HostServices::CheckClientArguments(const char* function, const std::string& call,
                                        const void* client, const void* handler, const void* cookie,
                                        int option) {
  CheckHandleIsUntouched(function);
  if (IsMissing(client, function, "client") || IsMissing(handler, function, "handler")) {
    return false;
  }
  IsMissing(cookie, function, "cookie");
  if (!is_initializing_) Violate(call + " outside init");
  if (option != kClientOption) {
    Violate(call + ": expected option " + std::to_string(kClientOption));
  }
  return true;
}

int HostServices::AllocateCommonClient(void** client, const std::vector<int32_t>& events,
                                       int option, hal_common_event_handler_t handler,
                                       void* cookie) {
  constexpr const char* kFunction = "event_allocate_common_event_client";
  const std::string call = std::string(kFunction) + "(events " + ToText(events) + ", option " +
                           std::to_string(option) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call + " = " + std::to_string(faults_.common_client_code));
  if (!CheckClientArguments(kFunction, call, client, reinterpret_cast<const void*>(handler), cookie,
                            option)) {
    return kInvalidArgument;
  }
  if (events != kCommonEvents) Violate(call + ": expected events " + ToText(kCommonEvents));
  if (common_client_) Violate(call + ": there is a common-event client already");
  if (faults_.common_client_code != 0) return faults_.common_client_code;
  common_client_ = Client{{events.begin(), events.end()}, {}};
  registration_.common_handler = handler;
  registration_.common_cookie = cookie;
  *client = &common_client_;
  return 0;
}

int HostServices::AllocateUsecaseClient(void** client, const std::vector<int32_t>& usecases,
                                        const std::vector<int32_t>& events, int option,
                                        usecase_event_handler_t handler, void* cookie) {
  constexpr const char* kFunction = "event_allocate_usecase_event_client";
  const std::string call = std::string(kFunction) + "(use cases " + ToText(usecases) + ", events " +
                           ToText(events) + ", option " + std::to_string(option) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call + " = " + std::to_string(faults_.usecase_client_code));
  if (!CheckClientArguments(kFunction, call, client, reinterpret_cast<const void*>(handler), cookie,
                            option)) {
    return kInvalidArgument;
  }
  if (usecases != kUsecases) Violate(call + ": expected use cases " + ToText(kUsecases));
  if (events != kUsecaseEvents) Violate(call + ": expected events " + ToText(kUsecaseEvents));
  if (usecase_client_) Violate(call + ": there is a use-case event client already");
  if (!common_client_) Violate(call + " before the common-event client was allocated");
  if (faults_.usecase_client_code != 0) return faults_.usecase_client_code;
  usecase_client_ = Client{{events.begin(), events.end()}, {usecases.begin(), usecases.end()}};
  registration_.usecase_handler = handler;
  registration_.usecase_cookie = cookie;
  *client = &usecase_client_;
  return 0;
}

void HostServices::TakeClient(std::optional<Client>& slot, void* const* client,
                              const char* function) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(std::string(function) + "()");
  if (IsMissing(client, function, "client")) return;
  if (*client != &slot) {
    Violate(std::string(function) + ": " + PointerText(*client) + " is not the client");
  } else if (!slot) {
    Violate(std::string(function) + ": the client was freed already");
  } else {
    // The module's handle stays as it is: forgetting it is the module's business.
    slot.reset();
  }
}

void HostServices::FreeCommonClient(void** client) {
  TakeClient(common_client_, client, "event_free_common_event_client");
}

void HostServices::FreeUsecaseClient(void** client) {
  TakeClient(usecase_client_, client, "event_free_usecase_event_client");
}

// ---- Sensor service -----------------------------------------------------------------------------

int HostServices::RegisterHingeAngle(int client_id, hal_sensor_callback_t callback, void* cookie) {
  constexpr const char* kFunction = "sensor_registerHingeAngleSensorCallback";
  const std::string call = std::string(kFunction) + "(client " + ToHex(client_id) + ")";
  const std::lock_guard<std::mutex> lock(mutex_);
  ReportCall(call + " = " + std::to_string(faults_.hinge_angle_code));
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
  if (faults_.hinge_angle_code != 0) {
    was_hinge_angle_refused_ = true;
    return faults_.hinge_angle_code;
  }
  is_hinge_angle_registered_ = true;
  registration_.hinge_angle_callback = callback;
  registration_.hinge_angle_cookie = cookie;
  return 0;
}

int HostServices::DeregisterHingeAngle(int client_id) {
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

int HostServices::UseProximity(const char* function) {
  ReportCall(std::string(function) + "()");
  Violate(std::string(function) + ": the module has no use for that sensor");
  return kInvalidArgument;
}

// ---- Tuning -------------------------------------------------------------------------------------

int HostServices::Tune(const unsigned char* data, size_t size) {
  if (!holds_event) Violate("tuning entry: called from a thread that holds no event");
  if (writes_in_progress_.fetch_add(1) != 0) Violate("tuning entry: two writes at the same time");
  const DspWrite write = dsp_.Receive(data, size);
  observer_.OnWrite(write);
  CheckMessages(write);
  writes_in_progress_.fetch_sub(1);
  return write.result;
}

void HostServices::CheckMessages(const DspWrite& write) {
  const auto& messages = write.parsed.messages;
  if (const auto& damage = write.parsed.damage) {
    Violate("a write of " + std::to_string(write.bytes.size()) +
            " bytes makes no sense at offset " + std::to_string(damage->offset) + ": " +
            damage->reason);
    return;
  }
  if (messages.size() < 2) return;
  std::set<int32_t> types;
  for (const DspMessage& message : messages) {
    if (!message.is_response()) Violate("a module status beside other messages in one write");
    if (!types.insert(message.type).second) {
      Violate(std::string("two messages for the ") + DspMessageTypeName(message.type) +
              " channel in one write");
    }
  }
}

}  // namespace brelmo::tavi::simulator
