// A small module that keeps the contract but for one thing: the defect that its configuration text
// names.
#include <cstring>
#include <string>

#include "hal_audio_platform.h"

namespace {

constexpr int kSensorClientId = 0x54534350;

std::string defect;
hal_audio_device* bound_device = nullptr;
void* common_client = nullptr;
void* usecase_client = nullptr;

bool Has(const char* name) { return defect == name; }

int Write(const void* data, int64_t size) {
  hal_tuning_entry_t entry = nullptr;
  std::memcpy(&entry, reinterpret_cast<const char*>(bound_device) + HAL_TUNING_ENTRY_OFFSET,
              sizeof(entry));
  return entry(bound_device, Has("wrong tuning code") ? 12 : 16, 10, 0, nullptr, nullptr, data,
               size, 0, 0);
}

void WriteStatus() {
  const int32_t status[] = {0, 4, Has("bad status") ? 2 : 1};
  Write(status, Has("short message") ? 11 : 12);
}

void OnCommonEvent(hal_common_event_t /*event*/, void* /*data*/, void* /*cookie*/) {
  WriteStatus();
}

void OnUsecaseEvent(usecase_event_t /*event*/, usecase* /*uc*/, void* /*data*/, void* /*cookie*/) {
  constexpr int32_t kOne = 0x3F800000;
  const int32_t other_channel = Has("one channel twice") ? 16 : 17;
  const int32_t messages[] = {16, 8, kOne, 0, other_channel, Has("half a bin") ? 4 : 8, kOne, 0};
  Write(messages, Has("half a bin") ? 28 : 32);
}

int OnHingeAngle(int /*value*/, void* /*cookie*/) { return 0; }

int Init(hal_audio_device* device, hal_module_event_callback_t /*module_event_callback*/,
         hal_ext_module_ops* /*ops*/, const char* config, void** handle) {
  defect = config;
  bound_device = device;
  common_client = usecase_client = nullptr;
  void* const context = audio_hal_calloc(device, Has("context size") ? 64 : 32);
  const int32_t common_events[] = {8, 2, 4};
  const int32_t usecases[] = {6, 23, 24};
  const int32_t usecase_events[] = {21, 22};
  event_allocate_common_event_client(device, &common_client, common_events,
                                     Has("missing event") ? 2 : 3, 5, OnCommonEvent, context);
  event_allocate_usecase_event_client(device, &usecase_client, usecases, 3, usecase_events, 2, 5,
                                      OnUsecaseEvent, context);
  sensor_registerHingeAngleSensorCallback(device, kSensorClientId + (Has("sensor client") ? 1 : 0),
                                          OnHingeAngle, context);
  if (Has("proximity sensor")) {
    sensor_registerProximitySensorCallback(device, kSensorClientId, OnHingeAngle, context);
  }
  if (Has("write outside events")) WriteStatus();
  if (Has("device record")) reinterpret_cast<char*>(device)[100] = 1;
  *handle = context;
  return 0;
}

int Deinit(hal_audio_device* device, void** handle) {
  static int not_the_hosts = 0;
  if (!Has("client not freed")) event_free_common_event_client(device, &common_client);
  if (Has("client freed twice")) event_free_common_event_client(device, &common_client);
  event_free_usecase_event_client(device,
                                  Has("wrong client freed") ? &common_client : &usecase_client);
  if (!Has("sensor not deregistered")) {
    sensor_deregisterHingeAngleSensorCallback(device, kSensorClientId);
  }
  if (!Has("context not freed")) audio_hal_free(device, *handle);
  if (Has("context freed twice")) audio_hal_free(device, *handle);
  if (Has("foreign memory freed")) audio_hal_free(device, &not_the_hosts);
  if (!Has("handle left")) *handle = nullptr;
  return 0;
}

int Dump(int /*fd*/, void* /*handle*/) { return 0; }

}  // namespace

extern "C" __attribute__((visibility("default"))) hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE;

hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE = {HAL_EXT_MODULE_TAG, HAL_EXT_MODULE_VERSION,
                                                    Init, Deinit, Dump};
