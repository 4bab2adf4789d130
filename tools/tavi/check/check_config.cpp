#include "check/check_config.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <android-base/logging.h>

#include "check/config_text.h"
#include "check/data_file_check.h"
#include "check/data_file_path.h"
#include "check/filter_check.h"
#include "check/known_names.h"
#include "check/placed_findings.h"
#include "check/posture_check.h"
#include "check/reading_check.h"
#include "check/refusal.h"
#include "check/refused_case.h"
#include "data_folder.h"
#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using audio::compensation::CompensationData;
using audio::compensation::HingeAngleIndex;
using audio::compensation::kLeftChannel;
using audio::compensation::TelephonySpeakerCompensation;
using Case = ConfigText::Case;
using Item = ConfigText::Item;

CompensationConfig Read(const std::string& text, bool* has_warned) {
  const simulator::LogCapture log([has_warned](const simulator::LogLine&) { *has_warned = true; });
  return TelephonySpeakerCompensation::GetConfig(text);
}

// The text is read twice: by the module's reader, whose word counts, and for the places of its
// pieces.
class ConfigCheck {
 public:
  ConfigCheck(const std::string& text, const CheckOptions& options)
      : options_(options),
        text_(text),
        config_(Read(text, &is_reading_cut_short_)),
        findings_(text_, options.config_name) {
    const RefusalLog log;
    engine_.emplace(nullptr, WithoutEndlessFiles(config_, options.data_root));
    refusal_ = log.refusal();
    if (!engine_->is_valid() && !config_.cases.empty() && !refusal_) {
      throw std::logic_error("the engine refuses a case for a reason that tavi does not know");
    }
  }

  CheckResult Run() {
    CheckResult result;
    result.postures = ProbePostures(*engine_);
    result.case_count = text_.cases().size();
    result.cases_in_force = in_force();
    CheckReading(text_, config_, is_reading_cut_short_, findings_);
    if (refusal_) CheckRefusedCase(text_, config_, in_force(), *refusal_, findings_);
    result.file_count = CheckDataFiles();
    CompareFiles(result.postures);
    CheckRanges(result.postures);
    result.findings = findings_.Take();
    for (Finding& finding : FindOddPostures(engine_->cases(), result.postures)) {
      finding.file = options_.config_name;
      if (finding.case_number) {
        findings_.Place(finding, text_.cases()[*finding.case_number].span);
      }
      result.findings.push_back(std::move(finding));
    }
    for (Finding& finding : CheckFolder()) result.findings.push_back(std::move(finding));
    return result;
  }

 private:
  // Of the cases in the text and of those that were read, the first ones.
  size_t in_force() const { return engine_->cases().size(); }

  // Returns the number of files.
  size_t CheckDataFiles() {
    std::vector<DataFile> files;  // in the order of the text
    std::unordered_map<std::string_view, size_t> by_name;
    std::vector<Span> places;  // of their first mention
    for (size_t number = 0; number < in_force(); ++number) {
      for (const Item& item : text_.cases()[number].items) {
        if (item.is_repeated || !IsOutput(item)) continue;
        const bool is_left = text_.at(item.name()) == kLeftChannel;
        const std::string_view name = text_.at(item.value());
        const auto [entry, is_new] = by_name.emplace(name, files.size());
        if (is_new) {
          files.push_back({std::string(name),
                           DataFilePath(std::string(name), options_.data_root),
                           &DataOf(number, is_left),
                           {},
                           {}});
          places.push_back(item.value());
        }
        DataFile& file = files[entry->second];
        (is_left ? file.left_cases : file.right_cases).push_back(number);
      }
    }
    for (size_t i = 0; i < files.size(); ++i) {
      std::vector<Finding> found = CheckDataFile(files[i], options_.max_gain_db);
      for (Finding& finding : CheckFilter(files[i], options_.filter)) {
        found.push_back(std::move(finding));
      }
      for (Finding& finding : found) {
        if (finding.file.empty()) findings_.Place(finding, places[i]);
        findings_.Put(places[i].offset, std::move(finding));
      }
    }
    return files.size();
  }

  void CompareFiles(const std::vector<PostureResult>& postures) {
    for (Finding& finding : CompareFilters(engine_->cases(), postures, options_.filter)) {
      const Span place = text_.cases()[*finding.case_number].span;
      findings_.Place(finding, place);
      findings_.Put(place.offset, std::move(finding));
    }
  }

  // Against every case that is written, in force or not.
  std::vector<Finding> CheckFolder() const {
    std::vector<std::string> names;
    for (const Case& each : text_.cases()) {
      for (const Item& item : each.items) {
        if (!IsOutput(item)) continue;
        const std::string path =
            simulator::DataFolder::kDevicePath + std::string(text_.at(item.value()));
        if (auto name = simulator::DataFolder::NameInFolder(path)) {
          names.push_back(*std::move(name));
        }
      }
    }
    return FindUnusedFiles(
        options_.data_root.empty() ? simulator::DataFolder::kDevicePath : options_.data_root,
        names);
  }

  bool IsOutput(const Item& item) const {
    return item.is_pair() && std::find(kChannelNames.begin(), kChannelNames.end(),
                                       text_.at(item.name())) != kChannelNames.end();
  }

  const CompensationData& DataOf(size_t number, bool is_left) const {
    const int type = is_left ? CompensationData::kLeftType : CompensationData::kRightType;
    const auto& outputs = engine_->cases()[number].second;
    return *std::find_if(outputs.begin(), outputs.end(),
                         [type](const auto& output) { return output.type == type; });
  }

  void CheckRanges(const std::vector<PostureResult>& postures) {
    const std::vector<CaseConfig> cases(config_.cases.begin(),
                                        config_.cases.begin() + static_cast<ptrdiff_t>(in_force()));
    for (Finding& finding : FindOddRanges(cases, postures)) {
      const Case& found_in = text_.cases()[*finding.case_number];
      const Item* const item = text_.Find(found_in, HingeAngleIndex::kName);
      const Span place = item != nullptr ? item->value() : found_in.span;
      findings_.Place(finding, place);
      findings_.Put(place.offset, std::move(finding));
    }
  }

  const CheckOptions& options_;
  const ConfigText text_;
  bool is_reading_cut_short_ = false;
  const CompensationConfig config_;
  PlacedFindings findings_;
  std::optional<TelephonySpeakerCompensation> engine_;
  std::optional<Refusal> refusal_;
};

}  // namespace

CheckResult CheckConfig(const std::string& text, const CheckOptions& options) {
  // The reader's warnings and the engine's errors are what is looked at, whatever the user's level.
  const android::base::ScopedLogSeverity severity(android::base::WARNING);
  return ConfigCheck(text, options).Run();
}

}  // namespace brelmo::tavi::tools
