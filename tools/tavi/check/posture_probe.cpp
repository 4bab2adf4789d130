#include "check/posture_probe.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "log_capture.h"
#include "tokenize.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using audio::compensation::HingeAngleIndex;
using audio::compensation::ScreenRotationIndex;

class AcceptingDeliverer : public audio::TunerDelivererWrapper {
 public:
  bool SendStereoSpatializerParameters(const unsigned char* /*data*/, int /*size*/,
                                       void* /*context*/) override {
    return true;
  }
  bool WriteCompensationData(const unsigned char* /*data*/, unsigned long /*size*/) override {
    return true;
  }
};

simulator::LogCapture Silence() {
  return simulator::LogCapture([](const simulator::LogLine&) {});
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

PostureProbe::PostureProbe(const CompensationConfig& config)
    : TelephonySpeakerCompensation(std::make_unique<AcceptingDeliverer>(), config) {
  AddActiveCommonValue(kScenarioCommonValue);
}

PostureProbe::PostureProbe() : TelephonySpeakerCompensation(nullptr, CompensationConfig()) {}

std::optional<size_t> PostureProbe::CaseLastTaken() const {
  const CaseKeys* const keys = previous_case_keys();
  const auto found = std::find_if(cases().begin(), cases().end(), [keys](const Case& candidate) {
    return &candidate.first == keys;
  });
  if (found == cases().end()) return std::nullopt;
  return static_cast<size_t>(found - cases().begin());
}

std::vector<size_t> PostureProbe::MatchingCases(const Posture& posture) {
  TuningParameters parameters;
  BuildRequestedTuningParameters(parameters, HingeAngleIndex::kName,
                                 posture.hinge_angle.value_or(-1));
  BuildRequestedTuningParameters(parameters, ScreenRotationIndex::kName, posture.rotation);
  std::vector<size_t> matching;
  if (parameters.empty()) return matching;
  for (size_t i = 0; i < cases().size(); ++i) {
    if (IsMatched(cases()[i].first, parameters)) matching.push_back(i);
  }
  return matching;
}

std::vector<PostureResult> PostureProbe::Probe() {
  const simulator::LogCapture silence = Silence();
  std::vector<PostureResult> results;
  for (const Posture& posture : AllPostures()) {
    PostureResult result = {posture, std::nullopt, std::nullopt, MatchingCases(posture)};
    UpdateScreenRotation(posture.rotation);
    if (posture.hinge_angle) OnSensorValueChanged(*posture.hinge_angle);
    AddActiveUsecase(kScenarioUsecase);
    result.taken = CaseLastTaken();
    UpdateTuningData();
    if (const auto next = CaseLastTaken(); next != result.taken) result.alternate = next;
    RemoveActiveUsecase(kScenarioUsecase);
    results.push_back(std::move(result));
  }
  return results;
}

std::vector<Posture> PostureProbe::Declared(const CaseConfig& case_config) {
  const simulator::LogCapture silence = Silence();
  PostureProbe alone;
  CaseKeys keys;
  for (const auto& [name, value] : case_config.conditions) {
    if (!alone.ParseRule(keys, android::base::Tokenize(value, ","), name)) return {};
  }
  alone.AppendCase(std::move(keys), {});
  std::vector<Posture> declared;
  for (const Posture& posture : AllPostures()) {
    if (!alone.MatchingCases(posture).empty()) declared.push_back(posture);
  }
  return declared;
}

}  // namespace brelmo::tavi::tools
