#include "check/refusal.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include <android-base/logging.h>

#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

using audio::compensation::CaseConfig;
using audio::compensation::kLeftChannel;
using audio::compensation::kRightChannel;
using audio::compensation::TelephonySpeakerCompensation;

void RefusalLog::Look(const simulator::LogLine& line) {
  static constexpr std::array<std::pair<std::string_view, Refusal>, 7> kReasons = {{
      {"ParseConfig: invalid parm size", Refusal::kConditionCount},
      {"ParseConfig: output ", Refusal::kMissingOutput},
      {"ParseConfig: invalid case ", Refusal::kNoConditions},
      {"ParseConfig: invalid condition name ", Refusal::kUnknownCondition},
      {"ParseRule: invalid rule data name ", Refusal::kNoInteger},
      {"ParseRule: null rule data ", Refusal::kUnsupportedValues},
      {"ParseRule: unsupported rule data ", Refusal::kUnsupportedValues},
  }};
  if (refusal_ || line.severity != android::base::ERROR) return;
  const auto* const reason =
      std::find_if(kReasons.begin(), kReasons.end(), [&line](const auto& known) {
        return line.text.compare(0, known.first.size(), known.first) == 0;
      });
  if (reason != kReasons.end()) refusal_ = reason->second;
}

std::optional<Refusal> JudgeCondition(std::string_view name, std::string_view value) {
  CaseConfig case_config;
  // An empty name leads to no file: the verdict is about the condition alone.
  for (const std::string_view channel : {kLeftChannel, kRightChannel}) {
    case_config.outputs.emplace(channel, "");
  }
  case_config.conditions.emplace(name, value);
  const RefusalLog log;
  const TelephonySpeakerCompensation engine(
      nullptr, {std::string(TelephonySpeakerCompensation::kName), {case_config}});
  return log.refusal();
}

}  // namespace brelmo::tavi::tools
