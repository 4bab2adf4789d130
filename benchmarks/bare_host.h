// The least host that a module can be loaded into: what it costs is next to nothing, so that what
// is measured is the module.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "hal_audio_platform.h"

namespace brelmo::tavi::benchmarks {

// What the module registered, for calling it directly on the measuring thread. One host a process.
struct BareHost {
  hal_audio_device* device;
  hal_common_event_handler_t common_handler;
  void* common_cookie;
  usecase_event_handler_t usecase_handler;
  void* usecase_cookie;
  hal_sensor_callback_t hinge_angle_callback;
  void* hinge_angle_cookie;

  // As a host that announces the common value 5 and starts use case 6, or withdraws and stops them.
  void StartCall() const;
  void StopCall() const;
  void HingeAngle(int angle) const { hinge_angle_callback(angle, hinge_angle_cookie); }
  void Rotation(int rotation) const;
};

BareHost& TheHost();

// What the module and the bare work beside it hand their bytes to. Costs next to nothing unless it
// is told to take a time.
int TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code, int32_t reserved,
                void* reserved_pointer, void* context, const void* data, int64_t size,
                int64_t reserved_1, int64_t reserved_2);

// Bytes handed to the tuning entry so far.
uint64_t BytesWritten();

// How long each call of the tuning entry takes from now on.
void SetWriteTime(std::chrono::microseconds time);

}  // namespace brelmo::tavi::benchmarks
