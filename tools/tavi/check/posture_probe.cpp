#include "check/posture_probe.h"

#include <string>
#include <utility>

#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::HingeAngleIndex;
using audio::compensation::kLeftChannel;
using audio::compensation::kRightChannel;
using audio::compensation::ScreenRotationIndex;
using audio::compensation::TelephonySpeakerCompensation;
using Engine = TelephonySpeakerCompensation;

int AngleOf(const Posture& posture) { return posture.hinge_angle.value_or(Engine::kNoHingeAngle); }

std::optional<size_t> NumberOf(const Engine& engine, const Engine::Case* of) {
  if (of == nullptr) return std::nullopt;
  return static_cast<size_t>(of - engine.cases().data());
}

}  // namespace

std::vector<Posture> AllPostures() {
  constexpr int kAngles = HingeAngleIndex::kMaxAngle - HingeAngleIndex::kMinAngle + 1;
  const auto& rotations = ScreenRotationIndex::kSupportedRotations;
  std::vector<Posture> postures;
  postures.reserve((1 + kAngles) * rotations.size());
  for (const int rotation : rotations) {
    postures.push_back({std::nullopt, rotation});
  }
  for (int angle = HingeAngleIndex::kMinAngle; angle <= HingeAngleIndex::kMaxAngle; ++angle) {
    for (const int rotation : rotations) {
      postures.push_back({angle, rotation});
    }
  }
  return postures;
}

std::vector<PostureResult> ProbePostures(const Engine& engine) {
  std::vector<PostureResult> results;
  for (const Posture& posture : AllPostures()) {
    const int angle = AngleOf(posture);
    PostureResult result = {posture, std::nullopt, std::nullopt, {}};
    if (const auto* const taken = engine.ChooseCase(angle, posture.rotation, nullptr)) {
      result.taken = NumberOf(engine, taken);
      result.alternate =
          NumberOf(engine, engine.ChooseCase(angle, posture.rotation, &taken->first));
    }
    for (const auto* const matching : engine.MatchingCases(angle, posture.rotation)) {
      result.matching.push_back(*NumberOf(engine, matching));
    }
    results.push_back(std::move(result));
  }
  return results;
}

std::vector<Posture> DeclaredPostures(const CaseConfig& case_config) {
  CaseConfig alone;
  alone.conditions = case_config.conditions;
  // The names of no file: only the conditions count.
  for (const std::string_view channel : {kLeftChannel, kRightChannel}) {
    alone.outputs.emplace(channel, "");
  }
  const simulator::LogCapture silence([](const simulator::LogLine&) {});
  const Engine engine(nullptr, {std::string(Engine::kName), {alone}});
  std::vector<Posture> declared;
  for (const Posture& posture : AllPostures()) {
    if (engine.ChooseCase(AngleOf(posture), posture.rotation, nullptr) != nullptr) {
      declared.push_back(posture);
    }
  }
  return declared;
}

}  // namespace brelmo::tavi::tools
