#include "build/config_source.h"

#include <algorithm>
#include <map>
#include <optional>

#include "build/options_text.h"
#include "check/config_text.h"
#include "check/known_names.h"
#include "check/tuning_files.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::HingeAngleIndex;
using audio::compensation::ScreenRotationIndex;

std::string Condition(std::string_view name, const std::vector<int64_t>& values) {
  std::string text = std::string(name) + ":";
  for (size_t i = 0; i < values.size(); ++i) {
    text += (i > 0 ? "," : "") + std::to_string(values[i]);
  }
  return text + "|";
}

class Mapping {
 public:
  Mapping(const CheckResult& checked, const std::string& config, const std::string& data_root,
          const Project& project, const TomlSource& source)
      : checked_(checked),
        config_(config),
        data_root_(data_root),
        project_(project),
        source_(source) {
    for (size_t number = 0; number < project.postures.size(); ++number) {
      for (size_t channel = 0; channel < kChannelKeys.size(); ++channel) {
        const PostureSource& posture = project.postures[number];
        files_[data_root + "/" + DataFileName(project, posture, channel)] =
            posture.channels[channel].place;
      }
    }
  }

  Finding Map(const Finding& found) const {
    Finding finding = source_.At(PlaceOf(found), found.name, found.severity, Words(found.message),
                                 Words(found.consequence));
    finding.case_number = found.case_number;
    if (files_.count(found.file) != 0) {
      std::string file = found.file;
      if (found.column > 0) file += ":" + std::to_string(found.line);
      ReplaceAll(file, data_root_, kDataFolder);
      finding.message = file + ": " + finding.message;
    }
    return finding;
  }

 private:
  // Who reads the source knows no numbers, and not the folder that was looked into.
  std::string Words(std::string text) const {
    ReplaceAll(text, data_root_, kDataFolder);
    text = InKeys(text);
    const std::string word = "case ";
    for (size_t at = 0; (at = text.find(word, at)) != std::string::npos;) {
      const bool is_within = at > 0 && text[at - 1] != ' ' && text[at - 1] != '(';
      at += word.size();
      const size_t end = std::min(text.find_first_not_of("0123456789", at), text.size());
      constexpr size_t kMostDigits = 6;
      if (is_within || end == at || end - at > kMostDigits) continue;
      const size_t number = std::stoul(text.substr(at, end - at));
      if (number >= project_.postures.size()) continue;
      const std::string name = " (" + project_.postures[number].name + ")";
      text.insert(end, name);
      at = end + name.size();
    }
    return text;
  }

  SourcePlace PlaceOf(const Finding& found) const {
    const auto file = files_.find(found.file);
    if (file != files_.end()) return file->second;
    if (found.offset) {
      const auto& cases = config_.cases();
      for (size_t number = 0; number < cases.size() && number < project_.postures.size();
           ++number) {
        const Span span = cases[number].span;
        if (*found.offset >= span.offset && *found.offset < span.offset + span.length) {
          return PlaceIn(project_.postures[number], cases[number], *found.offset, found.length);
        }
      }
    }
    if (found.case_number && *found.case_number < project_.postures.size()) {
      return project_.postures[*found.case_number].place;
    }
    if (found.name == "uncovered-posture") return PlaceOfGap();
    return project_.postures.empty() ? SourcePlace() : project_.postures.front().place;
  }

  SourcePlace PlaceIn(const PostureSource& posture, const ConfigText::Case& a_case, size_t offset,
                      size_t length) const {
    for (const ConfigText::Item& item : a_case.items) {
      if (!item.is_pair() || offset < item.span.offset ||
          offset + length > item.span.offset + item.span.length) {
        continue;
      }
      const std::string_view name = config_.at(item.name());
      if (name == HingeAngleIndex::kName) return posture.hinge_place;
      if (name == ScreenRotationIndex::kName) return posture.rotation_place;
      if (name == kChannelNames[0]) return posture.channels[0].place;
      if (name == kChannelNames[1]) return posture.channels[1].place;
    }
    return posture.place;
  }

  // Where what is covered ends: at the range or the rotations of a case beside the first gap.
  SourcePlace PlaceOfGap() const {
    const PostureResult* last = nullptr;
    const PostureResult* gap = nullptr;
    for (const PostureResult& posture : checked_.postures) {
      if (posture.posture.hinge_angle && !posture.taken && gap == nullptr) gap = &posture;
    }
    if (gap == nullptr) return {};
    bool is_behind = false;
    for (const PostureResult& posture : checked_.postures) {
      is_behind = is_behind || &posture == gap;
      if (!posture.taken || posture.posture.rotation != gap->posture.rotation) continue;
      last = &posture;
      if (is_behind) break;
      // One before the gap is nearer than any behind it.
      if (*posture.posture.hinge_angle + 1 == *gap->posture.hinge_angle) break;
    }
    if (last != nullptr && *last->taken < project_.postures.size()) {
      return project_.postures[*last->taken].hinge_place;
    }
    // No case has the rotation at all.
    for (const PostureResult& posture : checked_.postures) {
      if (posture.taken && posture.posture.hinge_angle == gap->posture.hinge_angle) {
        return project_.postures[*posture.taken].rotation_place;
      }
    }
    return project_.postures.empty() ? SourcePlace() : project_.postures.front().place;
  }

  const CheckResult& checked_;
  const ConfigText config_;
  const std::string data_root_;
  const Project& project_;
  const TomlSource& source_;
  std::map<std::string, SourcePlace> files_;
};

}  // namespace

std::string DataFileName(const Project& project, const PostureSource& posture, size_t channel) {
  return project.prefix + posture.name + "_" + kChannelKeys[channel] + ".txt";
}

std::string ConfigLine(const Project& project) {
  std::string line;
  for (const PostureSource& posture : project.postures) {
    if (!line.empty()) line += " ";
    if (posture.hinge) {
      line += Condition(HingeAngleIndex::kName, {(*posture.hinge)[0], (*posture.hinge)[1]});
    }
    if (!posture.rotations.empty()) {
      line += Condition(ScreenRotationIndex::kName, posture.rotations);
    }
    line += std::string(kChannelNames[0]) + ":" + DataFileName(project, posture, 0) + "|" +
            std::string(kChannelNames[1]) + ":" + DataFileName(project, posture, 1);
  }
  return line;
}

std::vector<Finding> FindingsInSource(const CheckResult& checked, const std::string& config,
                                      const std::string& data_root, const Project& project,
                                      const TomlSource& source) {
  const Mapping mapping(checked, config, data_root, project, source);
  std::vector<Finding> findings;
  findings.reserve(checked.findings.size());
  for (const Finding& finding : checked.findings) findings.push_back(mapping.Map(finding));
  return findings;
}

}  // namespace brelmo::tavi::tools
