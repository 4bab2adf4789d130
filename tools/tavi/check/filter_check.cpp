#include "check/filter_check.h"

#include <cmath>
#include <cstdio>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "check/posture_text.h"
#include "console/wording.h"
#include "response/filter_time.h"
#include "response/frequency_response.h"
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

std::string Number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof(text), format, value);
  return text;
}

// As a filter; none where the module sends something else, or nothing that is one.
std::optional<std::vector<Complex>> FilterOf(const CompensationData& data) {
  if (data.file_name.empty() || data.raw_data.size() != 2 * kBinCount) return std::nullopt;
  const auto is_finite = [](float value) { return std::isfinite(value); };
  if (!std::all_of(data.raw_data.begin(), data.raw_data.end(), is_finite)) return std::nullopt;
  return BinsOfData(data.raw_data);
}

const CompensationData& OutputOf(const TelephonySpeakerCompensation::Case& of, int type) {
  return *std::find_if(of.second.begin(), of.second.end(),
                       [type](const CompensationData& output) { return output.type == type; });
}

class FilterCheck {
 public:
  FilterCheck(const DataFile& file, const FilterLimits& limits) : file_(file), limits_(limits) {}

  std::vector<Finding> Run() {
    const auto bins = FilterOf(*file_.data);
    if (!bins) return {};
    const FilterTime time = MakeFilterTime(*bins, limits_.rate);
    if (time.beyond_taps_db > limits_.late_energy_db) {
      Add("time-aliasing",
          Number("%.0f dB", time.beyond_taps_db) +
              " of the filter's energy lies outside of its first " + std::to_string(kPlayedTaps) +
              " taps: all but -30 dB of it takes " + Count(time.arc_30db.length, "sample"),
          "a DSP that works in blocks of 512 samples folds that part over the block, as an echo or "
          "a "
          "flutter; shorten the filter (tavi import --taps 257), or begin its steepest or lowest "
          "part "
          "higher");
    }
    if (time.pre_ringing_db > limits_.early_energy_db) {
      Add("pre-ringing",
          Number("%.0f dB", time.pre_ringing_db) +
              " of the filter's energy comes earlier than 1 ms before its peak",
          "it is heard as a smear before each consonant; make the filter minimum phase (tavi "
          "import "
          "--phase minimum)");
    }
    CheckSteps(*bins);
    return std::move(findings_);
  }

 private:
  void Add(const std::string& name, const std::string& message, const std::string& consequence) {
    std::vector<std::string> uses;
    std::vector<size_t> cases = file_.left_cases;
    cases.insert(cases.end(), file_.right_cases.begin(), file_.right_cases.end());
    if (!file_.left_cases.empty())
      uses.push_back("left channel of " + CaseNumbers(file_.left_cases));
    if (!file_.right_cases.empty()) {
      uses.push_back("right channel of " + CaseNumbers(file_.right_cases));
    }
    findings_.push_back(MakeFinding(name, Severity::kWarning,
                                    *std::min_element(cases.begin(), cases.end()),
                                    message + " (" + Enumerate(uses) + ")", consequence));
    findings_.back().file = file_.path;
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
                          Number(" (%.0f Hz)", BinFrequency(worst, limits_.rate)) + " differ by " +
                          Number("%.1f dB", worst_step);
    if (count > 1) message += ", the most of " + Count(count, "such step");
    Add("steep-bin", message,
        "no filter of " + std::to_string(kPlayedTaps) +
            " taps is so steep: what lies between the bins is not what the file says; smooth the "
            "response before it is inverted (tavi design --smoothing)");
  }

  const DataFile& file_;
  const FilterLimits& limits_;
  std::vector<Finding> findings_;
};

// About the two channels of each case.
void CompareChannels(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                     const FilterLimits& limits, std::vector<Finding>& findings) {
  for (size_t number = 0; number < cases.size(); ++number) {
    const auto left = FilterOf(OutputOf(cases[number], CompensationData::kLeftType));
    const auto right = FilterOf(OutputOf(cases[number], CompensationData::kRightType));
    if (!left || !right) continue;
    const PairDifference pair = ComparePair(*left, *right, limits.rate);
    if (pair.similarity < kLeastSimilarity) continue;
    const double delay_ms = 1000.0 * pair.delay_samples / limits.rate;
    std::vector<std::string> words;
    if (std::abs(delay_ms) > limits.delay_ms) {
      words.push_back(std::string(delay_ms > 0 ? "right" : "left") + " comes " +
                      Number("%.2f ms", std::abs(delay_ms)) + " later than " +
                      (delay_ms > 0 ? "left" : "right"));
    }
    if (pair.is_inverted) words.emplace_back("the channels have opposite polarity");
    if (words.empty()) continue;
    findings.push_back(MakeFinding(
        "channel-delay", Severity::kNote, number,
        "of case " + std::to_string(number) + " " + Enumerate(words),
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
  struct Levels {
    std::optional<double> left;
    std::optional<double> right;
  };
  std::map<size_t, Levels> levels;
  const auto level_of = [&](size_t number) {
    const auto [entry, is_new] = levels.emplace(number, Levels());
    if (is_new) {
      for (auto& [level, type] : {std::pair(&entry->second.left, CompensationData::kLeftType),
                                  std::pair(&entry->second.right, CompensationData::kRightType)}) {
        if (const auto bins = FilterOf(OutputOf(cases[number], type))) {
          *level = SpeechLevelDb(*bins, limits.rate);
        }
      }
    }
    return entry->second;
  };
  for (const auto& [pair, posture] : AdjoiningCases(postures)) {
    const Levels first = level_of(pair.first);
    const Levels second = level_of(pair.second);
    std::vector<std::string> words;
    for (const auto& [channel, from, to] : {std::tuple("left", first.left, second.left),
                                            std::tuple("right", first.right, second.right)}) {
      if (!from || !to || !(std::abs(*to - *from) > limits.level_db)) continue;
      words.push_back(Number("%+.1f dB", *to - *from) + " on the " + channel + " channel");
    }
    if (words.empty()) continue;
    findings.push_back(MakeFinding(
        "level-jump", Severity::kNote, pair.second,
        "from case " + std::to_string(pair.first) + " to case " + std::to_string(pair.second) +
            ", which adjoin at " + DescribePostures({posture}) +
            ", the level of speech changes by " + Enumerate(words),
        "a voice is suddenly louder or softer there, if the loudspeakers do not make up for it; "
        "level the two cases together, unless it is meant to be so"));
  }
}

void FindSharedFiles(const std::vector<DataFile>& files, std::vector<Finding>& findings) {
  for (const DataFile& file : files) {
    if (file.left_cases.size() + file.right_cases.size() < 2) continue;
    std::vector<std::string> uses;
    if (!file.left_cases.empty()) uses.push_back("left channel of " + CaseNumbers(file.left_cases));
    if (!file.right_cases.empty()) {
      uses.push_back("right channel of " + CaseNumbers(file.right_cases));
    }
    const size_t number =
        std::min(file.left_cases.empty() ? file.right_cases.front() : file.left_cases.front(),
                 file.right_cases.empty() ? file.left_cases.front() : file.right_cases.front());
    findings.push_back(
        MakeFinding("same-file", Severity::kNote, number, "one file is the " + Enumerate(uses),
                    "they are corrected alike; name another file, unless it is meant "
                    "to be so"));
    findings.back().file = file.path;
  }
}

}  // namespace

std::vector<Finding> CheckFilter(const DataFile& file, const FilterLimits& limits) {
  return FilterCheck(file, limits).Run();
}

std::vector<Finding> CompareFilters(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                                    const std::vector<PostureResult>& postures,
                                    const std::vector<DataFile>& files,
                                    const FilterLimits& limits) {
  std::vector<Finding> findings;
  CompareChannels(cases, limits, findings);
  CompareLevels(cases, postures, limits, findings);
  FindSharedFiles(files, findings);
  return findings;
}

std::vector<Finding> FindUnusedFiles(const std::string& folder,
                                     const std::vector<DataFile>& files) {
  namespace fs = std::filesystem;
  std::set<std::string> used;
  std::set<std::string> endings;
  for (const DataFile& file : files) {
    const fs::path path = fs::path(file.name).lexically_normal();
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
      "unused-file", Severity::kNote, std::nullopt, "no case in force uses " + Enumerate(words),
      "the module never reads " + std::string(unused.size() == 1 ? "it" : "them") +
          "; look for a misspelt name in the configuration, or take the file out of the build");
  finding.file = folder;
  return {finding};
}

}  // namespace brelmo::tavi::tools
