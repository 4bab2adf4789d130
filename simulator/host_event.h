// What the host can tell the module.
#pragma once

#include <cstdint>
#include <optional>

namespace brelmo::tavi::simulator {

// Host event numbers.
constexpr int kValueAnnounced = 2;
constexpr int kValueWithdrawn = 4;
constexpr int kScreenRotated = 8;
constexpr int kUsecaseStarted = 21;
constexpr int kUsecaseStopped = 22;

struct HostEvent {
  enum class Source { kCommon, kUsecase, kHingeAngle };

  Source source = Source::kCommon;
  int number = 0;  // the host's event number; 0 for a hinge angle
  // The payload: a common event's value, the use case, the angle in degrees. Empty is a null
  // payload.
  std::optional<int32_t> value;
  // Delivered whether or not the module asked for it, after deinit too.
  bool is_raw = false;
};

constexpr HostEvent Announce(int32_t value) {
  return {HostEvent::Source::kCommon, kValueAnnounced, value};
}
constexpr HostEvent Withdraw(int32_t value) {
  return {HostEvent::Source::kCommon, kValueWithdrawn, value};
}
constexpr HostEvent Rotate(int32_t rotation) {
  return {HostEvent::Source::kCommon, kScreenRotated, rotation};
}
constexpr HostEvent StartUsecase(int32_t usecase) {
  return {HostEvent::Source::kUsecase, kUsecaseStarted, usecase};
}
constexpr HostEvent StopUsecase(int32_t usecase) {
  return {HostEvent::Source::kUsecase, kUsecaseStopped, usecase};
}
constexpr HostEvent Hinge(int32_t angle) { return {HostEvent::Source::kHingeAngle, 0, angle}; }

// The name of the thread that a host delivers such events on.
const char* ThreadName(HostEvent::Source source);

}  // namespace brelmo::tavi::simulator
