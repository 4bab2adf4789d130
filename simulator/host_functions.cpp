#include "host_functions.h"

#include <algorithm>
#include <mutex>
#include <sstream>

namespace brelmo::tavi::simulator {

namespace {

std::mutex hosts_mutex;
std::vector<HostFunctions*> hosts;  // in the order of their making
// The last of them, which nearly every call means: a write need not wait for the list.
std::atomic<HostFunctions*> last_host = nullptr;

}  // namespace

HostFunctions::HostFunctions() {
  SetTuningEntry(true);
  const std::lock_guard<std::mutex> lock(hosts_mutex);
  hosts.push_back(this);
  last_host = this;
}

HostFunctions::~HostFunctions() {
  const std::lock_guard<std::mutex> lock(hosts_mutex);
  hosts.erase(std::remove(hosts.begin(), hosts.end(), this), hosts.end());
  last_host = hosts.empty() ? nullptr : hosts.back();
}

void HostFunctions::SetTuningEntry(bool is_present) {
  device_.SetTuningEntry(is_present ? TuningEntry : nullptr);
}

HostFunctions* HostFunctions::Find(const hal_audio_device* device, const char* function) {
  if (HostFunctions* const last = last_host; last != nullptr && last->IsMeantBy(device)) {
    return last;
  }
  const std::lock_guard<std::mutex> lock(hosts_mutex);
  for (HostFunctions* const host : hosts) {
    if (host->IsMeantBy(device)) return host;
  }
  if (!hosts.empty()) {
    hosts.back()->Violate(std::string(function) + ": " + PointerText(device) +
                          " is not the device");
  }
  return nullptr;
}

int HostFunctions::TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code,
                               int32_t reserved, void* reserved_pointer, void* context,
                               const void* data, int64_t size, int64_t reserved_1,
                               int64_t reserved_2) {
  constexpr int32_t kCode = 16;
  constexpr int32_t kSubCode = 10;
  HostFunctions* const host = Find(device, "tuning entry");
  if (host == nullptr) return kInvalidArgument;
  if (code != kCode || sub_code != kSubCode || reserved != 0 || reserved_pointer != nullptr ||
      context != nullptr || reserved_1 != 0 || reserved_2 != 0) {
    host->Violate("tuning entry: arguments " + std::to_string(code) + ", " +
                  std::to_string(sub_code) + ", " + std::to_string(reserved) + ", " +
                  PointerText(reserved_pointer) + ", " + PointerText(context) + ", data, size, " +
                  std::to_string(reserved_1) + ", " + std::to_string(reserved_2) +
                  "; expected 16, 10, 0, null, null, data, size, 0, 0");
  }
  if (data == nullptr) {
    host->Violate("tuning entry: null data");
    return kInvalidArgument;
  }
  if (size <= 0) {
    host->Violate("tuning entry: a size of " + std::to_string(size));
    return kInvalidArgument;
  }
  return host->Tune(static_cast<const unsigned char*>(data), static_cast<size_t>(size));
}

std::string PointerText(const void* pointer) {
  if (pointer == nullptr) return "null";
  std::ostringstream text;
  text << pointer;
  return text.str();
}

}  // namespace brelmo::tavi::simulator

namespace {

using brelmo::tavi::simulator::HostFunctions;
using brelmo::tavi::simulator::kNoSuchDevice;

std::vector<int32_t> List(const int32_t* values, int count) {
  return values == nullptr || count <= 0 ? std::vector<int32_t>()
                                         : std::vector<int32_t>(values, values + count);
}

}  // namespace

#define TAVI_EXPORT __attribute__((visibility("default")))

extern "C" {

TAVI_EXPORT void* audio_hal_calloc(hal_audio_device* device, size_t size) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr ? nullptr : host->Allocate(size);
}

TAVI_EXPORT void audio_hal_free(hal_audio_device* device, void* memory) {
  if (auto* const host = HostFunctions::Find(device, __func__)) host->Free(memory);
}

TAVI_EXPORT int event_allocate_common_event_client(hal_audio_device* device, void** client,
                                                   const hal_common_event_t* events,
                                                   int event_count, int option,
                                                   hal_common_event_handler_t handler,
                                                   void* cookie) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice
                         : host->AllocateCommonClient(client, List(events, event_count), option,
                                                      handler, cookie);
}

TAVI_EXPORT int event_allocate_usecase_event_client(hal_audio_device* device, void** client,
                                                    const int32_t* usecases, int usecase_count,
                                                    const usecase_event_t* events, int event_count,
                                                    int option, usecase_event_handler_t handler,
                                                    void* cookie) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr
             ? kNoSuchDevice
             : host->AllocateUsecaseClient(client, List(usecases, usecase_count),
                                           List(events, event_count), option, handler, cookie);
}

TAVI_EXPORT void event_free_common_event_client(hal_audio_device* device, void** client) {
  if (auto* const host = HostFunctions::Find(device, __func__)) host->FreeCommonClient(client);
}

TAVI_EXPORT void event_free_usecase_event_client(hal_audio_device* device, void** client) {
  if (auto* const host = HostFunctions::Find(device, __func__)) host->FreeUsecaseClient(client);
}

TAVI_EXPORT int sensor_registerHingeAngleSensorCallback(hal_audio_device* device, int client_id,
                                                        hal_sensor_callback_t callback,
                                                        void* cookie) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->RegisterHingeAngle(client_id, callback, cookie);
}

TAVI_EXPORT int sensor_deregisterHingeAngleSensorCallback(hal_audio_device* device, int client_id) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->DeregisterHingeAngle(client_id);
}

TAVI_EXPORT int sensor_registerProximitySensorCallback(hal_audio_device* device, int /*client_id*/,
                                                       hal_sensor_callback_t /*callback*/,
                                                       void* /*cookie*/) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->UseProximity(__func__);
}

TAVI_EXPORT int sensor_deregisterProximitySensorCallback(hal_audio_device* device,
                                                         int /*client_id*/) {
  auto* const host = HostFunctions::Find(device, __func__);
  return host == nullptr ? kNoSuchDevice : host->UseProximity(__func__);
}

}  // extern "C"
