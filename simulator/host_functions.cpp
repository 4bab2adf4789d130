// The host functions that a module calls, over the simulated host that owns the device.
#include <vector>

#include "hal_audio_platform.h"
#include "simulated_host.h"

using brelmo::tavi::simulator::SimulatedHost;

namespace {

constexpr int kNoSuchDevice = -19;

std::vector<int32_t> List(const int32_t* values, int count) {
  return values == nullptr || count <= 0 ? std::vector<int32_t>()
                                         : std::vector<int32_t>(values, values + count);
}

}  // namespace

#define TAVI_EXPORT __attribute__((visibility("default")))

extern "C" {

TAVI_EXPORT void* audio_hal_calloc(hal_audio_device* device, size_t size) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr ? nullptr : host->Allocate(size);
}

TAVI_EXPORT void audio_hal_free(hal_audio_device* device, void* memory) {
  if (auto* const host = SimulatedHost::Find(device, __func__)) host->Free(memory);
}

TAVI_EXPORT int event_allocate_common_event_client(hal_audio_device* device, void** client,
                                                   const hal_common_event_t* events,
                                                   int event_count, int option,
                                                   hal_common_event_handler_t handler,
                                                   void* cookie) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice
                         : host->AllocateCommonClient(client, List(events, event_count), option,
                                                      handler, cookie);
}

TAVI_EXPORT int event_allocate_usecase_event_client(hal_audio_device* device, void** client,
                                                    const int32_t* usecases, int usecase_count,
                                                    const usecase_event_t* events, int event_count,
                                                    int option, usecase_event_handler_t handler,
                                                    void* cookie) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr
             ? kNoSuchDevice
             : host->AllocateUsecaseClient(client, List(usecases, usecase_count),
                                           List(events, event_count), option, handler, cookie);
}

TAVI_EXPORT void event_free_common_event_client(hal_audio_device* device, void** client) {
  if (auto* const host = SimulatedHost::Find(device, __func__)) host->FreeCommonClient(client);
}

TAVI_EXPORT void event_free_usecase_event_client(hal_audio_device* device, void** client) {
  if (auto* const host = SimulatedHost::Find(device, __func__)) host->FreeUsecaseClient(client);
}

TAVI_EXPORT int sensor_registerHingeAngleSensorCallback(hal_audio_device* device, int client_id,
                                                        hal_sensor_callback_t callback,
                                                        void* cookie) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->RegisterHingeAngle(client_id, callback, cookie);
}

TAVI_EXPORT int sensor_deregisterHingeAngleSensorCallback(hal_audio_device* device, int client_id) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->DeregisterHingeAngle(client_id);
}

TAVI_EXPORT int sensor_registerProximitySensorCallback(hal_audio_device* device, int /*client_id*/,
                                                       hal_sensor_callback_t /*callback*/,
                                                       void* /*cookie*/) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->RegisterProximity();
}

TAVI_EXPORT int sensor_deregisterProximitySensorCallback(hal_audio_device* device,
                                                         int /*client_id*/) {
  auto* const host = SimulatedHost::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->DeregisterProximity();
}

}  // extern "C"
