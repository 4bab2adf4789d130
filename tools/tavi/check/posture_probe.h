// Reads out of the module's engine what it takes in each posture.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

struct Posture {
  std::optional<int> hinge_angle;  // degrees; empty before the first reading
  int rotation = 0;                // degrees
};

// Every posture: the four rotations before the first hinge reading, then each whole degree of the
// hinge in each rotation.
std::vector<Posture> AllPostures();

// What the engine does in one posture.
struct PostureResult {
  Posture posture;
  // The case that it takes there when the scenario becomes active, counted from 0.
  std::optional<size_t> taken;
  // The case that it takes by the next update in the same posture; updates there then alternate
  // between the two.
  std::optional<size_t> alternate;
  // All whose conditions hold there.
  std::vector<size_t> matching;
};

// In the order of AllPostures(). Sends nothing and logs nothing.
std::vector<PostureResult> ProbePostures(
    const audio::compensation::TelephonySpeakerCompensation& engine);

// The postures in which the conditions alone hold, as if no other case stood before them: what they
// declare. Empty when the engine refuses them. Reads no data file, logs nothing.
std::vector<Posture> DeclaredPostures(const audio::compensation::CaseConfig& case_config);

}  // namespace brelmo::tavi::tools
