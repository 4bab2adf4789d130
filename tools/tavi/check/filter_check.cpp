#include "check/filter_check.h"

#include <cmath>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "check/posture_text.h"
#include "console/wording.h"
#include "response/filter_time.h"
#include "response/level.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CompensationData;
using audio::compensation::TelephonySpeakerCompensation;

// Where speech is: what two neighbouring bins do elsewhere is seldom heard.
constexpr double kSpeechFromHz = 300.0;
constexpr double kSpeechToHz = 8000.0;
// Delay and polarity of two responses that are less alike than this mean nothing.
constexpr double kLeastSimilarity = 0.5;

// As a filter; empty unless what the module sends is one.
std::optional<std::vector<Complex>> FilterOf(const CompensationData& data) {
  if (data.file_name.empty()) return std::nullopt;
  return FilterOfData(data.raw_data);
}

const CompensationData& OutputOf(const TelephonySpeakerCompensation::Case& of, int type) {
  return *std::find_if(of.second.begin(), of.second.end(),
                       [type](const CompensationData& output) { return output.type == type; });
}

// How far the two channels of a case are apart, in words; empty when they are together.
std::string DifferenceInTime(const CompensationData& left_data, const CompensationData& right_data,
                             const FilterLimits& limits) {
  const auto left = FilterOf(left_data);
  const auto right = FilterOf(right_data);
  if (!left || !right) return "";
  const PairDifference pair = ComparePair(*left, *right, limits.rate);
  if (pair.similarity < kLeastSimilarity) return "";
  const double delay_ms = 1000.0 * pair.delay_samples / limits.rate;
  std::vector<std::string> words;
  // The delay is an estimate: one of exactly the limit is not to be above it by its last digits.
  constexpr double kExactSamples = 1e-3;
  if (std::abs(pair.delay_samples) > limits.delay_ms * limits.rate / 1000.0 + kExactSamples) {
    words.push_back(std::string(delay_ms > 0 ? "right" : "left") + " comes " +
                    Format("%.2f ms", std::abs(delay_ms)) + " later than " +
                    (delay_ms > 0 ? "left" : "right"));
  }
  if (pair.is_inverted) words.emplace_back("the channels have opposite polarity");
  return Enumerate(words);
}

class FilterCheck {
 public:
  FilterCheck(const DataFile& file, const FilterLimits& limits) : file_(file), limits_(limits) {}

  std::vector<Finding> Run() {
    if (!file_.data->file_name.empty() && !file_.data->raw_data.empty()) CheckUses();
    const auto bins = FilterOf(*file_.data);
    if (!bins) return std::move(findings_);
    const FilterTime time = MakeFilterTime(*bins, limits_.rate);
    if (time.beyond_taps_db > limits_.late_energy_db) {
      Add("time-aliasing",
          Format("%.0f dB", time.beyond_taps_db) +
              " of the filter's energy lies outside of its first " + std::to_string(kPlayedTaps) +
              " taps: all but -30 dB of it takes " + Count(time.arc_30db.length, "sample"),
          "a DSP that works in blocks of 512 samples folds that part over the block, as an echo or "
          "a flutter; shorten the filter (tavi import --taps 257), or make its steepest and lowest "
          "parts gentler");
    }
    if (time.pre_ringing_db > limits_.early_energy_db) {
      Add("pre-ringing",
          Format("%.0f dB", time.pre_ringing_db) +
              " of the filter's energy comes earlier than 1 ms before its peak",
          "it is heard as a smear before each consonant; make the filter minimum phase (tavi "
          "import --phase minimum)");
    }
    CheckSteps(*bins);
    return std::move(findings_);
  }

 private:
  Finding& Add(const std::string& name, const std::string& message,
               const std::string& consequence) {
    findings_.push_back(MakeFinding(name, Severity::kWarning, FirstCaseOf(file_),
                                    message + " (" + UsesOf(file_) + ")", consequence));
    findings_.back().file = file_.path;
    return findings_.back();
  }

  void CheckUses() {
    if (file_.left_cases.size() + file_.right_cases.size() < 2) return;
    findings_.push_back(
        MakeFinding("same-file", Severity::kNote, FirstCaseOf(file_),
                    "one file is the response of several outputs: " + UsesOf(file_),
                    "they are corrected alike; name another file, unless it is meant to be so"));
  }

  void CheckSteps(const std::vector<Complex>& bins) {
    size_t worst = 0;
    double worst_step = 0.0;
    size_t count = 0;
    for (size_t bin = 1; bin < bins.size(); ++bin) {
      if (BinFrequency(bin - 1, limits_.rate) < kSpeechFromHz) continue;
      if (BinFrequency(bin, limits_.rate) > kSpeechToHz) break;
      const double step = std::abs(ToDb(std::abs(bins[bin])) - ToDb(std::abs(bins[bin - 1])));
      if (!(step > limits_.step_db)) continue;  // nor from nothing to nothing
      ++count;
      if (step <= worst_step) continue;
      worst = bin;
      worst_step = step;
    }
    if (count == 0) return;
    std::string message = "bins " + std::to_string(worst - 1) + " and " + std::to_string(worst) +
                          Format(" (%.0f Hz)", BinFrequency(worst, limits_.rate)) +
                          (std::isinf(worst_step) ? " differ beyond measure, for one of them is 0"
                                                  : " differ by " + Format("%.1f dB", worst_step));
    if (count > 1) message += ", the most of " + Count(count, "such step");
    Finding& finding =
        Add("steep-bin", message,
            "no filter of " + std::to_string(kPlayedTaps) +
                " taps is so steep: what the DSP plays between the bins is not what the file says; "
                "smooth the response before it is inverted (tavi design --smoothing)");
    BinLines(file_.name).Place(finding, worst);
  }

  const DataFile& file_;
  const FilterLimits& limits_;
  std::vector<Finding> findings_;
};

// About the two channels of each case.
void CompareChannels(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                     const FilterLimits& limits, std::vector<Finding>& findings) {
  std::map<std::pair<std::string_view, std::string_view>, std::string> words_of;  // by file
  for (size_t number = 0; number < cases.size(); ++number) {
    const CompensationData& left = OutputOf(cases[number], CompensationData::kLeftType);
    const CompensationData& right = OutputOf(cases[number], CompensationData::kRightType);
    const auto [words, is_new] = words_of.try_emplace({left.file_name, right.file_name});
    if (is_new) words->second = DifferenceInTime(left, right, limits);
    if (words->second.empty()) continue;
    findings.push_back(MakeFinding(
        "channel-delay", Severity::kNote, number,
        "of case " + std::to_string(number) + " " + words->second,
        "both loudspeakers play the same voice: it is thinner where they cancel, and seems to come "
        "from one side; delay the earlier channel, or turn one round, unless it is meant to be "
        "so"));
  }
}

// Postures between which a device goes in one step: a degree of the hinge, a quarter turn.
std::map<std::pair<size_t, size_t>, Posture> AdjoiningCases(
    const std::vector<PostureResult>& postures) {
  std::map<std::pair<int, int>, size_t> taken;  // by hinge angle and rotation
  for (const PostureResult& result : postures) {
    if (result.taken && result.posture.hinge_angle) {
      taken[{*result.posture.hinge_angle, result.posture.rotation}] = *result.taken;
    }
  }
  std::map<std::pair<size_t, size_t>, Posture> pairs;
  for (const auto& [posture, number] : taken) {
    const auto [angle, rotation] = posture;
    for (const std::pair<int, int>& next :
         {std::pair(angle + 1, rotation), std::pair(angle, (rotation + 90) % 360)}) {
      const auto other = taken.find(next);
      if (other == taken.end() || other->second == number) continue;
      pairs.emplace(std::minmax(number, other->second), Posture{angle, rotation});
    }
  }
  return pairs;
}

void CompareLevels(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                   const std::vector<PostureResult>& postures, const FilterLimits& limits,
                   std::vector<Finding>& findings) {
  std::map<std::string_view, std::optional<double>> levels;  // by file
  const auto level_of = [&](size_t number, int type) {
    const CompensationData& data = OutputOf(cases[number], type);
    const auto [level, is_new] = levels.try_emplace(data.file_name);
    if (!is_new) return level->second;
    if (const auto bins = FilterOf(data)) {
      const double db = SpeechLevelDb(*bins, limits.rate);
      if (std::isfinite(db)) level->second = db;
    }
    return level->second;
  };
  for (const auto& [pair, posture] : AdjoiningCases(postures)) {
    std::vector<std::string> words;
    for (const auto& [channel, type] : {std::pair("left", CompensationData::kLeftType),
                                        std::pair("right", CompensationData::kRightType)}) {
      const std::optional<double> from = level_of(pair.first, type);
      const std::optional<double> to = level_of(pair.second, type);
      if (!from || !to || !(std::abs(*to - *from) > limits.level_db)) continue;
      words.push_back(Format("%+.1f dB", *to - *from) + " on the " + channel + " channel");
    }
    if (words.empty()) continue;
    findings.push_back(MakeFinding(
        "level-jump", Severity::kNote, pair.second,
        "from case " + std::to_string(pair.first) + " to case " + std::to_string(pair.second) +
            " (beside each other at " + DescribePostures({posture}) +
            ") the level of speech changes by " + Enumerate(words),
        "a voice is suddenly louder or softer there, if the loudspeakers do not make up for it; "
        "level the two cases together, unless it is meant to be so"));
  }
}

}  // namespace

std::vector<Finding> CheckFilter(const DataFile& file, const FilterLimits& limits) {
  return FilterCheck(file, limits).Run();
}

std::vector<Finding> CompareFilters(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                                    const std::vector<PostureResult>& postures,
                                    const FilterLimits& limits) {
  std::vector<Finding> findings;
  CompareChannels(cases, limits, findings);
  CompareLevels(cases, postures, limits, findings);
  return findings;
}

std::vector<Finding> FindUnusedFiles(const std::string& folder,
                                     const std::vector<std::string>& names) {
  namespace fs = std::filesystem;
  std::set<std::string> used;
  std::set<std::string> endings;
  for (const std::string& name : names) {
    const fs::path path = fs::path(name).lexically_normal();
    used.insert(path.string());
    endings.insert(path.extension().string());
  }
  std::vector<std::string> unused;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (!at->is_regular_file(error) || used.count(name) != 0) continue;
    if (endings.count(at->path().extension().string()) != 0) unused.push_back(name);
  }
  if (unused.empty()) return {};
  std::sort(unused.begin(), unused.end());
  constexpr size_t kMost = 8;
  std::vector<std::string> words;
  for (size_t i = 0; i < std::min(kMost, unused.size()); ++i) words.push_back(Printable(unused[i]));
  if (unused.size() > kMost) words.push_back(Count(unused.size() - kMost, "other"));
  Finding finding = MakeFinding(
      "unused-file", Severity::kNote, std::nullopt, "no case uses " + Enumerate(words),
      "the module never reads " + std::string(unused.size() == 1 ? "it" : "them") +
          "; look for a misspelt name in the configuration, or take the file out of the build");
  finding.file = folder;
  return {finding};
}

}  // namespace brelmo::tavi::tools
