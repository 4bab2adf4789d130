// Asks the module's engine what it does in each posture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

// What makes the engine's scenario active.
constexpr uint32_t kScenarioCommonValue = 5;
constexpr uint32_t kScenarioUsecase = 6;

struct Posture {
  std::optional<int> hinge_angle;  // degrees; none before the first reading
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

// An engine at a desk: nothing of it reaches a DSP, and it logs as any other. Not thread-safe.
class PostureProbe : private audio::compensation::TelephonySpeakerCompensation {
 public:
  // Reads the data files, through the data folder in force.
  explicit PostureProbe(const audio::compensation::CompensationConfig& config);

  using TelephonySpeakerCompensation::Case;
  using TelephonySpeakerCompensation::CaseKeys;
  using TelephonySpeakerCompensation::cases;
  using TelephonySpeakerCompensation::indices;
  using TelephonySpeakerCompensation::is_valid;

  // In the order of AllPostures().
  std::vector<PostureResult> Probe();

  // The postures in which the conditions alone hold, as if no other case stood before them: what
  // they declare. Empty when the engine refuses them. Reads no file, logs nothing.
  static std::vector<Posture> Declared(const audio::compensation::CaseConfig& case_config);

 private:
  PostureProbe();

  std::optional<size_t> CaseLastTaken() const;
  std::vector<size_t> MatchingCases(const Posture& posture);
};

}  // namespace brelmo::tavi::tools
