#include "diagnose/recovered_config.h"

#include <algorithm>
#include <map>
#include <utility>

#include "console/wording.h"
#include "data_folder.h"
#include "log_capture.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

namespace {

using Ranges = std::vector<std::pair<int, int>>;
using audio::compensation::TelephonySpeakerCompensation;

// The key of a rule that declares `range`, which is among the first `count` ranges.
std::vector<int> KeyOf(const Ranges& ranges, size_t count, const std::pair<int, int>& range) {
  std::vector<int> key;
  for (const int end : {range.first, range.second}) {
    for (size_t i = 0; i < count; ++i) {
      if (ranges[i].first > end || end > ranges[i].second) continue;
      if (std::find(key.begin(), key.end(), static_cast<int>(i)) == key.end()) {
        key.push_back(static_cast<int>(i));
      }
      break;
    }
  }
  return key;
}

// The range that a case with this key declared; `declared` is the number of ranges so far, and goes
// up when it is a new one.
std::optional<std::pair<int, int>> RangeOf(const Ranges& ranges, const std::vector<int>& key,
                                           size_t& declared) {
  // A range of its own, rather than one of another case: every range was declared by some case.
  if (declared < ranges.size() && KeyOf(ranges, declared + 1, ranges[declared]) == key) {
    return ranges[declared++];
  }
  for (size_t i = 0; i < declared; ++i) {
    if (KeyOf(ranges, declared, ranges[i]) == key) return ranges[i];
  }
  return std::nullopt;
}

// Whether the module makes the same keys of the text.
bool HasSameKeys(const std::string& text, const Dump& dump) {
  const simulator::LogCapture silence([](const simulator::LogLine&) {});
  const simulator::DataFolder no_files("/nonexistent");
  const TelephonySpeakerCompensation engine(nullptr, TelephonySpeakerCompensation::GetConfig(text));
  return engine.cases().size() == dump.cases.size() &&
         std::equal(dump.cases.begin(), dump.cases.end(), engine.cases().begin(),
                    [](const DumpCase& one, const auto& other) {
                      return one.keys == ToPostureKeys(other.first);
                    });
}

}  // namespace

std::optional<RecoveredConfig> RecoverConfig(const Dump& dump) {
  if (!dump.is_complete || dump.cases.empty()) return std::nullopt;
  RecoveredConfig result;
  std::map<int, int> rotation_of;
  for (const auto& [rotation, index] : dump.rotations) rotation_of.emplace(index, rotation);
  size_t declared = 0;
  for (size_t i = 0; i < dump.cases.size(); ++i) {
    const DumpCase& one = dump.cases[i];
    const std::string name = "case " + std::to_string(i) + ": ";
    std::string text;
    if (one.keys.hinge) {
      const auto range = RangeOf(dump.ranges, *one.keys.hinge, declared);
      if (!range) return std::nullopt;
      text +=
          "HingeAngle:" + std::to_string(range->first) + "," + std::to_string(range->second) + "|";
    }
    if (one.keys.rotation) {
      text += "ScreenRotation:";
      for (const int index : *one.keys.rotation) {
        const auto rotation = rotation_of.find(index);
        if (rotation == rotation_of.end()) return std::nullopt;
        text += (text.back() == ':' ? "" : ",") + std::to_string(rotation->second);
      }
      text += "|";
    }
    for (const int type : {0, 1}) {
      const auto output = std::find_if(one.outputs.begin(), one.outputs.end(),
                                       [type](const auto& any) { return any.type == type; });
      if (output == one.outputs.end()) return std::nullopt;
      std::string file = output->file_name;
      if (file.empty()) {
        file = "unknown_" + std::to_string(i) + (type == 0 ? "_left.txt" : "_right.txt");
        std::string doubt = name;
        doubt.append(type == 0 ? "the left" : "the right")
            .append(" channel was played flat, and a dump does not name the file then; ")
            .append(file)
            .append(" stands for it");
        result.doubts.push_back(std::move(doubt));
      } else if (file.find_first_of(" |:") != std::string::npos) {
        return std::nullopt;
      }
      text += (type == 0 ? "LeftChannel:" : "|RightChannel:") + file;
    }
    result.text += (i == 0 ? "" : " ") + text;
  }
  if (declared < dump.ranges.size()) {
    result.doubts.push_back("a refused case behind these declared " +
                            Count(dump.ranges.size() - declared, "more hinge range"));
  }
  if (!HasSameKeys(result.text, dump)) return std::nullopt;
  return result;
}

}  // namespace brelmo::tavi::tools
