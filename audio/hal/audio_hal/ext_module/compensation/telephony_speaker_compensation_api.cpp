#define LOG_TAG "audio_hw_compensation"

#include "telephony_speaker_compensation_api.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <android-base/logging.h>

#include "index.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::audio {

int LegacyAudioSensorInfoWrapper::RegisterProximitySensorCallback(int client_id,
                                                                  SensorCallback callback,
                                                                  void* cookie) {
  return sensor_registerProximitySensorCallback(device_, client_id, callback, cookie);
}

int LegacyAudioSensorInfoWrapper::DeregisterProximitySensorCallback(int client_id) {
  return sensor_deregisterProximitySensorCallback(device_, client_id);
}

int LegacyAudioSensorInfoWrapper::RegisterHingeAngleSensorCallback(int client_id,
                                                                   SensorCallback callback,
                                                                   void* cookie) {
  return sensor_registerHingeAngleSensorCallback(device_, client_id, callback, cookie);
}

int LegacyAudioSensorInfoWrapper::DeregisterHingeAngleSensorCallback(int client_id) {
  return sensor_deregisterHingeAngleSensorCallback(device_, client_id);
}

bool LegacyAudioTunerDelivererWrapper::SendStereoSpatializerParameters(const unsigned char* data,
                                                                       int size, void* context) {
  if (context == nullptr) return false;
  return CallTuningEntry(12, 7, context, data, size);
}

bool LegacyAudioTunerDelivererWrapper::WriteCompensationData(const unsigned char* data,
                                                             unsigned long size) {
  return CallTuningEntry(16, 10, nullptr, data, static_cast<int64_t>(size));
}

bool LegacyAudioTunerDelivererWrapper::CallTuningEntry(int32_t code, int32_t sub_code,
                                                       void* context, const unsigned char* data,
                                                       int64_t size) {
  if (device_ == nullptr) return false;
  hal_tuning_entry_t entry = nullptr;
  std::memcpy(&entry, reinterpret_cast<const char*>(device_) + HAL_TUNING_ENTRY_OFFSET,
              sizeof(entry));
  return entry != nullptr &&
         entry(device_, code, sub_code, 0, nullptr, context, data, size, 0, 0) == 0;
}

namespace compensation {

namespace {

// This module's client id with the host's sensor service.
constexpr int kSensorClientId = 0x54534350;

// Host event numbers.
constexpr hal_common_event_t kValueAnnounced = 2;
constexpr hal_common_event_t kValueWithdrawn = 4;
constexpr hal_common_event_t kScreenRotated = 8;
constexpr usecase_event_t kUsecaseStarted = 21;
constexpr usecase_event_t kUsecaseStopped = 22;

// What the module asks the host's event service for, in the order in which the host gets it.
constexpr std::array<hal_common_event_t, 3> kCommonEvents = {kScreenRotated, kValueAnnounced,
                                                             kValueWithdrawn};
constexpr std::array<int32_t, 3> kUsecases = {6, 23, 24};
constexpr std::array<usecase_event_t, 2> kUsecaseEvents = {kUsecaseStarted, kUsecaseStopped};
constexpr int kClientOption = 5;

// The 32-bit value at `record` + `offset`; empty when the host gave no record.
template <typename T>
std::optional<T> ReadValue(const void* record, size_t offset = 0) {
  static_assert(sizeof(T) == sizeof(uint32_t));
  if (record == nullptr) return std::nullopt;
  T value{};
  std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof(value));
  return value;
}

void OnCommonEvent(hal_common_event_t event, void* data, void* cookie) {
  if (cookie == nullptr) return;
  auto& engine = *static_cast<TelephonySpeakerCompensation*>(cookie);
  LOG(INFO) << "audio_hw_compensation: common event " << event;
  switch (event) {
    case kValueAnnounced:
      if (const auto value = ReadValue<uint32_t>(data)) engine.AddActiveCommonValue(*value);
      break;
    case kValueWithdrawn:
      if (const auto value = ReadValue<uint32_t>(data)) engine.RemoveActiveCommonValue(*value);
      break;
    case kScreenRotated:
      if (const auto rotation = ReadValue<int32_t>(data)) engine.UpdateScreenRotation(*rotation);
      break;
    default:
      LOG(INFO) << "audio_hw_compensation: common event : unsupported event " << event;
      break;
  }
}

void OnUsecaseEvent(usecase_event_t event, usecase* uc, void* /*data*/, void* cookie) {
  if (cookie == nullptr) return;
  auto& engine = *static_cast<TelephonySpeakerCompensation*>(cookie);
  LOG(INFO) << "audio_hw_compensation: use case event " << event;
  const auto value = ReadValue<uint32_t>(uc, HAL_USECASE_VALUE_OFFSET);
  switch (event) {
    case kUsecaseStarted:
      if (value) engine.AddActiveUsecase(*value);
      break;
    case kUsecaseStopped:
      if (value) engine.RemoveActiveUsecase(*value);
      break;
    default:
      LOG(WARNING) << "audio_hw_compensation: use case event: unsupported event " << event;
      break;
  }
}

int OnHingeAngle(int value, void* cookie) {
  if (cookie != nullptr) {
    static_cast<TelephonySpeakerCompensation*>(cookie)->OnSensorValueChanged(value);
  }
  return 0;
}

// The module's two clients of the host's event service. Nothing is released by destruction: that is
// Deinitialize's work, as the host may free a client only while its device lives.
class CompensationEventsListener {
 public:
  // Both are borrowed.
  CompensationEventsListener(hal_audio_device* device, TelephonySpeakerCompensation* engine)
      : device_(device), engine_(engine) {}

  // False when there is no device or the host refuses the common-event client.
  bool Initialize();
  // Frees the clients there are and makes the handlers inert. May be called again.
  void Deinitialize();

 private:
  hal_audio_device* device_;
  TelephonySpeakerCompensation* engine_;
  void* common_client_ = nullptr;
  void* usecase_client_ = nullptr;
  hal_common_event_handler_t common_event_handler_ = OnCommonEvent;
  usecase_event_handler_t usecase_event_handler_ = OnUsecaseEvent;
};

bool CompensationEventsListener::Initialize() {
  if (device_ == nullptr) return false;
  const int result = event_allocate_common_event_client(
      device_, &common_client_, kCommonEvents.data(), kCommonEvents.size(), kClientOption,
      common_event_handler_, engine_);
  if (result != 0) {
    LOG(WARNING) << __func__ << ": Failed to register common event handler(" << result << ")";
    return false;
  }
  // A refusal is not a failure: the module then waits for use cases that never come.
  event_allocate_usecase_event_client(device_, &usecase_client_, kUsecases.data(), kUsecases.size(),
                                      kUsecaseEvents.data(), kUsecaseEvents.size(), kClientOption,
                                      usecase_event_handler_, engine_);
  return true;
}

void CompensationEventsListener::Deinitialize() {
  if (common_client_ != nullptr) event_free_common_event_client(device_, &common_client_);
  if (usecase_client_ != nullptr) event_free_usecase_event_client(device_, &usecase_client_);
  device_ = nullptr;
  common_client_ = nullptr;
  usecase_client_ = nullptr;
  common_event_handler_ = [](hal_common_event_t, void*, void*) {};
  usecase_event_handler_ = [](usecase_event_t, usecase*, void*, void*) {};
}

// The context behind the host's handle. It lives in the host's memory, which goes back to the host
// without the members being destroyed: a host thread may be inside the engine at that time.
struct CompensationContext {
  std::unique_ptr<CompensationEventsListener> events_listener;
  std::unique_ptr<TelephonySpeakerCompensation> compensation;
  std::unique_ptr<SensorInfoWrapper> sensor_info;  // null without a hinge-angle condition
  SensorCallback hinge_angle_callback;             // null unless registered
};

static_assert(sizeof(CompensationContext) == 32, "the host accounts for 32 bytes");
static_assert(std::is_trivially_destructible_v<CompensationEventsListener>);

bool HasHingeAngleCondition(const CompensationConfig& config) {
  return std::any_of(config.cases.begin(), config.cases.end(), [](const CaseConfig& candidate) {
    return candidate.conditions.count(std::string(HingeAngleIndex::kName)) != 0;
  });
}

// Leaves the host's event and sensor services.
void Disconnect(CompensationContext& context) {
  if (context.events_listener != nullptr) context.events_listener->Deinitialize();
  if (context.sensor_info != nullptr) {
    context.sensor_info->DeregisterHingeAngleSensorCallback(kSensorClientId);
  }
}

}  // namespace

}  // namespace compensation

}  // namespace brelmo::tavi::audio

// The host's names are global, and what stands behind them is not.
using namespace brelmo::tavi::audio;
using namespace brelmo::tavi::audio::compensation;

hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE = {
    HAL_EXT_MODULE_TAG,  HAL_EXT_MODULE_VERSION, compensation_init,
    compensation_deinit, compensation_dump,
};

int compensation_init(hal_audio_device* device,
                      hal_module_event_callback_t /*module_event_callback*/,
                      hal_ext_module_ops* /*ops*/, const char* config, void** handle) {
  void* const memory = audio_hal_calloc(device, sizeof(CompensationContext));
  if (memory == nullptr) {
    LOG(ERROR) << __func__ << ": fail to allocate memory";
    return -ENOMEM;
  }
  auto* const context = new (memory) CompensationContext{};

  const std::string config_text = config == nullptr ? "" : config;
  const CompensationConfig checked = TelephonySpeakerCompensation::GetConfig(config_text);
  if (checked.name.empty() || checked.cases.empty()) {
    // The host sees success; that the handle is as it was tells it that there is no module.
    LOG(ERROR) << __func__ << ": invalid parameters " << config_text;
    return 0;
  }

  // The text is read once more for the engine, so a malformed item is warned of twice: log readers
  // know it so.
  context->compensation = std::make_unique<TelephonySpeakerCompensation>(
      std::make_unique<LegacyAudioTunerDelivererWrapper>(device),
      TelephonySpeakerCompensation::GetConfig(config_text));
  TelephonySpeakerCompensation* const engine = context->compensation.get();

  // Gives back what the handle held, which is not the new context: that one stays allocated, as the
  // host may be inside its engine already.
  const auto fail = [&] {
    Disconnect(*context);
    audio_hal_free(device, *handle);
    *handle = nullptr;
    return -1;
  };

  context->events_listener = std::make_unique<CompensationEventsListener>(device, engine);
  if (!context->events_listener->Initialize()) {
    LOG(ERROR) << __func__ << ": failed to initialize events listeners";
    return fail();
  }

  if (HasHingeAngleCondition(checked)) {
    context->hinge_angle_callback = OnHingeAngle;
    context->sensor_info = std::make_unique<LegacyAudioSensorInfoWrapper>(device);
    if (context->sensor_info->RegisterHingeAngleSensorCallback(
            kSensorClientId, context->hinge_angle_callback, engine) != 0) {
      LOG(ERROR) << __func__ << ": failed to register hinge angle";
      return fail();
    }
  }

  *handle = context;
  LOG(INFO) << __func__ << ": initialize successfully";
  return 0;
}

int compensation_deinit(hal_audio_device* device, void** handle) {
  Disconnect(*static_cast<CompensationContext*>(*handle));
  audio_hal_free(device, *handle);
  *handle = nullptr;
  return 0;
}

int compensation_dump(int fd, void* handle) {
  if (handle != nullptr) {
    const auto& context = *static_cast<const CompensationContext*>(handle);
    if (context.compensation != nullptr) context.compensation->Dump(fd);
  }
  dprintf(fd, "\n");
  return 0;
}
