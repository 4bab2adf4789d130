#include "bare_host.h"

#include <atomic>
#include <cstdlib>
#include <thread>

struct hal_audio_device {
  unsigned char before[2656];
  hal_tuning_entry_t tuning_entry;
  unsigned char after[256];
};

struct usecase {
  unsigned char before[12];
  uint32_t value;
  unsigned char after[48];
};

namespace brelmo::tavi::benchmarks {

namespace {

std::atomic<uint64_t> bytes_written = 0;
std::atomic<int64_t> write_time_us = 0;

void Common(const BareHost& host, int event, int32_t value) {
  host.common_handler(event, &value, host.common_cookie);
}

void Usecase(const BareHost& host, int event, uint32_t value) {
  struct usecase record = {};
  record.value = value;
  host.usecase_handler(event, &record, nullptr, host.usecase_cookie);
}

}  // namespace

int TuningEntry(hal_audio_device* /*device*/, int32_t /*code*/, int32_t /*sub_code*/,
                int32_t /*reserved*/, void* /*reserved_pointer*/, void* /*context*/,
                const void* /*data*/, int64_t size, int64_t /*reserved_1*/,
                int64_t /*reserved_2*/) {
  bytes_written.store(bytes_written.load(std::memory_order_relaxed) + static_cast<uint64_t>(size),
                      std::memory_order_relaxed);
  if (const int64_t time = write_time_us.load(std::memory_order_relaxed); time > 0) {
    std::this_thread::sleep_for(std::chrono::microseconds(time));
  }
  return 0;
}

uint64_t BytesWritten() { return bytes_written.load(std::memory_order_relaxed); }

void SetWriteTime(std::chrono::microseconds time) {
  write_time_us.store(time.count(), std::memory_order_relaxed);
}

BareHost& TheHost() {
  static hal_audio_device device = {{}, TuningEntry, {}};
  static BareHost host = {&device, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
  return host;
}

void BareHost::StartCall() const {
  Common(*this, 2, 5);
  Usecase(*this, 21, 6);
}

void BareHost::Rotation(int rotation) const { Common(*this, 8, rotation); }

void BareHost::StopCall() const {
  Usecase(*this, 22, 6);
  Common(*this, 4, 5);
}

}  // namespace brelmo::tavi::benchmarks

#define TAVI_EXPORT __attribute__((visibility("default")))

using brelmo::tavi::benchmarks::TheHost;

extern "C" {

TAVI_EXPORT void* audio_hal_calloc(hal_audio_device* /*device*/, size_t size) {
  return std::calloc(1, size);  // NOLINT(cppcoreguidelines-no-malloc): that is what it is
}

TAVI_EXPORT void audio_hal_free(hal_audio_device* /*device*/, void* memory) {
  std::free(memory);  // NOLINT(cppcoreguidelines-no-malloc): the other half of it
}

TAVI_EXPORT int event_allocate_common_event_client(hal_audio_device* /*device*/, void** client,
                                                   const hal_common_event_t* /*events*/,
                                                   int /*event_count*/, int /*option*/,
                                                   hal_common_event_handler_t handler,
                                                   void* cookie) {
  *client = &TheHost();
  TheHost().common_handler = handler;
  TheHost().common_cookie = cookie;
  return 0;
}

TAVI_EXPORT int event_allocate_usecase_event_client(hal_audio_device* /*device*/, void** client,
                                                    const int32_t* /*usecases*/,
                                                    int /*usecase_count*/,
                                                    const usecase_event_t* /*events*/,
                                                    int /*event_count*/, int /*option*/,
                                                    usecase_event_handler_t handler, void* cookie) {
  *client = &TheHost();
  TheHost().usecase_handler = handler;
  TheHost().usecase_cookie = cookie;
  return 0;
}

TAVI_EXPORT void event_free_common_event_client(hal_audio_device* /*device*/, void** /*client*/) {}
TAVI_EXPORT void event_free_usecase_event_client(hal_audio_device* /*device*/, void** /*client*/) {}

TAVI_EXPORT int sensor_registerHingeAngleSensorCallback(hal_audio_device* /*device*/,
                                                        int /*client_id*/,
                                                        hal_sensor_callback_t callback,
                                                        void* cookie) {
  TheHost().hinge_angle_callback = callback;
  TheHost().hinge_angle_cookie = cookie;
  return 0;
}

TAVI_EXPORT int sensor_deregisterHingeAngleSensorCallback(hal_audio_device* /*device*/,
                                                          int /*client_id*/) {
  return 0;
}

TAVI_EXPORT int sensor_registerProximitySensorCallback(hal_audio_device* /*device*/,
                                                       int /*client_id*/,
                                                       hal_sensor_callback_t /*callback*/,
                                                       void* /*cookie*/) {
  return -1;
}

TAVI_EXPORT int sensor_deregisterProximitySensorCallback(hal_audio_device* /*device*/,
                                                         int /*client_id*/) {
  return -1;
}

}  // extern "C"
