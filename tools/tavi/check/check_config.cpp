#include "check/check_config.h"

#include <cctype>
#include <cerrno>
#include <cmath>

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <android-base/logging.h>
#include <android-base/parsedouble.h>
#include <android-base/parseint.h>

#include "check/config_text.h"
#include "check/data_file_check.h"
#include "check/posture_check.h"
#include "console/wording.h"
#include "data_folder.h"
#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using audio::compensation::CompensationData;
using audio::compensation::HingeAngleIndex;
using audio::compensation::kLeftChannel;
using audio::compensation::kRightChannel;
using audio::compensation::ScreenRotationIndex;
using audio::compensation::TelephonySpeakerCompensation;

constexpr std::array<std::string_view, 2> kChannels = {kLeftChannel, kRightChannel};
constexpr std::array<std::string_view, 4> kKnownNames = {
    HingeAngleIndex::kName, ScreenRotationIndex::kName, kLeftChannel, kRightChannel};

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// "0, 1, ..." up to but without `end`.
std::vector<size_t> NumbersFrom(size_t begin, size_t end) {
  std::vector<size_t> numbers(end > begin ? end - begin : 0);
  std::iota(numbers.begin(), numbers.end(), begin);
  return numbers;
}

// ---- What the module says -----------------------------------------------------------------------

CompensationConfig Read(std::string_view text, bool* has_warned = nullptr) {
  const simulator::LogCapture log([has_warned](const simulator::LogLine&) {
    if (has_warned != nullptr) *has_warned = true;
  });
  return TelephonySpeakerCompensation::GetConfig(std::string(text));
}

// Why the engine refuses a case.
enum class Refusal {
  kConditionCount,
  kMissingOutput,
  kNoConditions,
  kUnknownCondition,
  kNoInteger,
  kUnsupportedValues,
};

// Keeps the first of an engine's ERROR lines that tells why it refuses a case. The lines before it
// hold no line feed, so none can be taken for it, whatever the configuration holds.
class RefusalLog {
 public:
  std::optional<Refusal> refusal() const { return refusal_; }

 private:
  void Look(const simulator::LogLine& line) {
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
        std::find_if(kReasons.begin(), kReasons.end(),
                     [&line](const auto& known) { return StartsWith(line.text, known.first); });
    if (reason != kReasons.end()) refusal_ = reason->second;
  }

  std::optional<Refusal> refusal_;
  simulator::LogCapture capture_{[this](const simulator::LogLine& line) { Look(line); }};
};

// What the engine finds wrong with one condition by itself.
std::optional<Refusal> Judge(std::string_view name, std::string_view value) {
  CaseConfig case_config;
  // Names of no file: data files have no part in it.
  for (const std::string_view channel : kChannels) case_config.outputs.emplace(channel, "");
  case_config.conditions.emplace(name, value);
  RefusalLog log;
  const TelephonySpeakerCompensation engine(
      nullptr, {std::string(TelephonySpeakerCompensation::kName), {case_config}});
  return log.refusal();
}

// ---- Explanations -------------------------------------------------------------------------------

// The number of single-character edits from one name to another, letter case aside.
size_t EditDistance(std::string_view from, std::string_view to) {
  const auto is_same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t replaced = diagonal + (is_same(from[i], to[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string_view NearestKnownName(std::string_view name) {
  return *std::min_element(kKnownNames.begin(), kKnownNames.end(),
                           [name](std::string_view a, std::string_view b) {
                             return EditDistance(name, a) < EditDistance(name, b);
                           });
}

bool IsKnownName(std::string_view name) {
  return std::find(kKnownNames.begin(), kKnownNames.end(), name) != kKnownNames.end();
}

// Whether `name` is most likely meant to be `known`.
bool IsMisspelt(std::string_view name, std::string_view known) {
  return !IsKnownName(name) && NearestKnownName(name) == known &&
         EditDistance(name, known) <= known.size() / 3;
}

const char* WhitespaceName(char character) {
  switch (character) {
    case '\t':
      return "a tab";
    case '\r':
      return "a carriage return";
    default:
      return "a line feed";
  }
}

constexpr const char* kStrayWhitespace = "\t\r\n";

// Why a rule value that the module refuses is no integer to it.
std::string WhyNoInteger(const std::string& piece) {
  const std::string trimmed = piece.substr(0, piece.find_last_not_of(" \t\r\n\v\f") + 1);
  int value = 0;
  if (trimmed != piece && android::base::ParseInt(trimmed, &value)) {
    const bool is_named =
        std::string_view(kStrayWhitespace).find(piece.back()) != std::string::npos;
    return std::string("is no integer: it ends in ") +
           (is_named ? WhitespaceName(piece.back()) : "a blank");
  }
  errno = 0;
  if (!android::base::ParseInt(trimmed, &value) && errno == ERANGE) {
    return "is beyond the range of a 32-bit integer";
  }
  double number = 0.0;
  if (android::base::ParseDouble(trimmed, &number) && number != std::floor(number)) {
    return "is no integer: it has a fraction";
  }
  return "is no integer";
}

// "case 0 stays in force", for the cases before `count`.
std::string InForce(size_t count) {
  if (count == 0) return "no case is in force";
  return CaseNumbers(NumbersFrom(0, count)) + (count == 1 ? " stays" : " stay") + " in force";
}

// ---- The check ----------------------------------------------------------------------------------

class ConfigCheck {
 public:
  ConfigCheck(const std::string& text, const CheckOptions& options)
      : options_(options), text_(text), config_(Read(text, &is_reading_cut_short_)) {
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
      line_starts_.push_back(at + 1);
    }
    RefusalLog log;
    engine_.emplace(nullptr, config_);
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
    CheckReading();
    if (refusal_) CheckRefusedCase();
    result.file_count = CheckDataFiles();
    CheckRanges(result.postures);
    std::stable_sort(placed_.begin(), placed_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [at, finding] : placed_) result.findings.push_back(std::move(finding));
    if (config_.cases.empty()) return result;
    for (Finding& finding : FindOddPostures(engine_->cases(), result.postures)) {
      finding.file = options_.config_name;
      if (finding.case_number) Place(finding, TextOf(*finding.case_number).span);
      result.findings.push_back(std::move(finding));
    }
    return result;
  }

 private:
  using Case = ConfigText::Case;
  using Item = ConfigText::Item;

  size_t in_force() const { return engine_->cases().size(); }
  const Case& TextOf(size_t number) const { return text_.cases().at(number); }
  std::string QuoteAt(Span span) const { return Quote(text_.at(span)); }

  // ---- Making findings ----

  void Place(Finding& finding, Span place) const {
    const auto next_line = std::upper_bound(line_starts_.begin(), line_starts_.end(), place.offset);
    finding.file = options_.config_name;
    finding.line = static_cast<size_t>(next_line - line_starts_.begin());
    finding.column = place.offset - *(next_line - 1) + 1;
    finding.offset = place.offset;
    finding.length = place.length;
  }

  void AddAt(Span place, const std::string& name, Severity severity, std::optional<size_t> number,
             const std::string& message, const std::string& consequence) {
    Finding finding = MakeFinding(name, severity, number, message, consequence);
    Place(finding, place);
    placed_.emplace_back(place.offset, std::move(finding));
  }

  // ---- Reading ----

  void CheckReading() {
    for (size_t number = 0; number < config_.cases.size(); ++number) {
      CheckRepeatedNames(number);
      for (const Item& item : TextOf(number).items) CheckWhitespace(number, item);
    }
    if (is_reading_cut_short_) CheckMalformedItem(config_.cases.size());
    if (config_.cases.empty()) {
      Finding finding = MakeFinding(
          "no-cases", Severity::kError, std::nullopt, "the text yields no case",
          "the module reports success at init and hands out nothing: no correction is ever sent");
      Place(finding, {0, text_.text().size()});
      placed_.emplace_back(text_.text().size(), std::move(finding));
    }
  }

  void CheckRepeatedNames(size_t number) {
    const CaseConfig& read = config_.cases[number];
    std::map<std::string_view, size_t> seen;
    for (const Item& item : TextOf(number).items) {
      if (!item.is_pair() || ++seen[text_.at(item.name())] == 1) continue;
      const std::string name(text_.at(item.name()));
      const auto& entries = read.outputs.count(name) != 0 ? read.outputs : read.conditions;
      AddAt(item.span, "repeated-name", Severity::kWarning, number,
            QuoteAt(item.name()) +
                (seen[text_.at(item.name())] == 2 ? " stands twice" : " stands once more") +
                " in case " + std::to_string(number),
            "the module keeps the first value, " + Quote(entries.at(name)) + ", and drops " +
                QuoteAt(item.value()));
    }
  }

  void CheckWhitespace(size_t number, const Item& item) {
    for (size_t i = 0; i < item.parts.size(); ++i) {
      const std::string_view part = text_.at(item.parts[i]);
      const size_t at = part.find_first_of(kStrayWhitespace);
      if (at == std::string_view::npos) continue;
      std::string where = "in " + QuoteAt(item.parts[i]);
      if (item.is_pair())
        where = i == 0 ? "in the name " + Quote(part) : "in the value of " + QuoteAt(item.name());
      AddAt({item.parts[i].offset + at, 1}, "stray-whitespace", Severity::kWarning, number,
            std::string(WhitespaceName(part[at])) + " stands " + where,
            "the module takes it as part of the text: only the space separates cases");
    }
  }

  void CheckMalformedItem(size_t number) {
    for (const Item& item : TextOf(number).items) {
      CheckWhitespace(number, item);
      if (!Read(text_.at(item.span)).cases.empty()) continue;
      const std::string_view text = text_.at(item.span);
      std::string reason = "it has " + Count(item.parts.size(), "part");
      if (text.find(':') == std::string_view::npos) {
        reason = "it has no colon";
      } else if (item.parts.size() == 1) {
        reason = text.front() == ':' ? "it has no name" : "it has no value";
      } else if (item.parts.empty()) {
        reason = "it has neither";
      }
      std::string lost = CaseNumbers(NumbersFrom(number, text_.cases().size())) +
                         (number + 1 == text_.cases().size() ? " is lost" : " are lost");
      if (number > 0) {
        lost += "; " + CaseNumbers(NumbersFrom(0, number)) + " before it " +
                (number == 1 ? "is read" : "are read");
      }
      AddAt(item.span, "malformed-item", Severity::kError, number,
            Quote(text) + " is not one name and one value: " + reason,
            "the module stops reading here, and nothing behind this place is checked: " + lost);
      return;
    }
  }

  // ---- The refused case ----

  void CheckRefusedCase() {
    const size_t number = in_force();
    switch (*refusal_) {
      case Refusal::kConditionCount:
        CheckConditionCount(number);
        break;
      case Refusal::kMissingOutput:
        CheckMissingOutput(number);
        break;
      case Refusal::kNoConditions:
        AddRefusal(TextOf(number).span, "no-conditions",
                   "case " + std::to_string(number) + " has no condition");
        break;
      default:
        CheckConditions(number);
        break;
    }
    if (number + 1 >= config_.cases.size()) return;
    const std::vector<size_t> ignored = NumbersFrom(number + 1, config_.cases.size());
    const Span first = TextOf(ignored.front()).span;
    const Span last = TextOf(ignored.back()).span;
    AddAt({first.offset, last.offset + last.length - first.offset}, "cases-ignored",
          Severity::kError, ignored.front(),
          CaseNumbers(ignored) + (ignored.size() == 1 ? " is ignored" : " are ignored"),
          "the module stops at case " + std::to_string(number) + "; " + InForce(number) +
              (number > 0 ? " all the same" : ""));
  }

  void AddRefusal(Span place, const std::string& name, const std::string& message) {
    const size_t number = in_force();
    AddAt(place, name, Severity::kError, number, message,
          "the module refuses case " + std::to_string(number) + "; " + InForce(number));
  }

  void CheckConditionCount(size_t number) {
    const size_t count = config_.cases[number].conditions.size();
    std::string message = "case " + std::to_string(number) + " has " + Count(count, "condition") +
                          ", case 0 has " + std::to_string(config_.cases.front().conditions.size());
    Span place = TextOf(number).span;
    for (const Item& item : TextOf(number).items) {
      const std::string_view name = text_.at(item.name());
      if (IsKnownName(name)) continue;
      place = item.name();
      message += "; " + Quote(name) + " counts as one, the nearest known name is " +
                 std::string(NearestKnownName(name));
      break;
    }
    AddRefusal(place, "condition-count", message);
  }

  void CheckMissingOutput(size_t number) {
    std::vector<std::string> missing;
    std::string hints;
    Span place = TextOf(number).span;
    for (const std::string_view channel : kChannels) {
      if (config_.cases[number].outputs.count(std::string(channel)) != 0) continue;
      missing.emplace_back(channel);
      for (const Item& item : TextOf(number).items) {
        const std::string_view name = text_.at(item.name());
        if (!IsMisspelt(name, channel)) continue;
        if (hints.empty()) place = item.name();
        hints += "; " + Quote(name) + " is taken for a condition";
        break;
      }
    }
    AddRefusal(place, "missing-output",
               "case " + std::to_string(number) + " has no " + Enumerate(missing) + hints);
  }

  // Which condition the engine looks at first is not defined, so all are judged.
  void CheckConditions(size_t number) {
    const size_t found_before = placed_.size();
    for (const Item& item : TextOf(number).items) {
      const std::string_view name = text_.at(item.name());
      const CaseConfig& read = config_.cases[number];
      if (read.conditions.count(std::string(name)) == 0) continue;
      if (text_.Find(TextOf(number), name) != &item) continue;  // dropped
      const std::optional<Refusal> refusal = Judge(name, text_.at(item.value()));
      if (!refusal) continue;
      if (*refusal == Refusal::kUnknownCondition) {
        AddRefusal(item.name(), "unknown-condition",
                   Quote(name) + " is no condition; the nearest known name is " +
                       std::string(NearestKnownName(name)));
      } else if (*refusal == Refusal::kNoInteger) {
        CheckIntegers(item);
      } else if (name == HingeAngleIndex::kName) {
        CheckHingeRange(item);
      } else {
        CheckRotations(item);
      }
    }
    if (placed_.size() == found_before) {
      throw std::logic_error("the engine refuses conditions that it takes one by one");
    }
  }

  // The first of a condition's values that the engine refuses when it stands alone; none when it
  // takes each.
  std::optional<Span> FirstRefused(const Item& item, Refusal kind) const {
    for (const Span piece : Pieces(text_.text(), item.value(), ',')) {
      const auto refusal = Judge(text_.at(item.name()), text_.at(piece));
      if (refusal == kind) return piece;
    }
    return std::nullopt;
  }

  void CheckIntegers(const Item& item) {
    const Span piece = FirstRefused(item, Refusal::kNoInteger).value_or(item.value());
    AddRefusal(piece, "bad-value",
               "the " + std::string(text_.at(item.name())) + " value " + QuoteAt(piece) + " " +
                   WhyNoInteger(std::string(text_.at(piece))));
  }

  void CheckHingeRange(const Item& item) {
    const std::vector<Span> pieces = Pieces(text_.text(), item.value(), ',');
    std::string reason = " reaches outside " + std::to_string(HingeAngleIndex::kMinAngle) + " to " +
                         std::to_string(HingeAngleIndex::kMaxAngle);
    if (pieces.size() != 2) {
      reason = " holds " + Count(pieces.size(), "value") + " instead of 2, low and high";
    } else {
      int low = 0;
      int high = 0;
      android::base::ParseInt(std::string(text_.at(pieces[0])), &low);
      android::base::ParseInt(std::string(text_.at(pieces[1])), &high);
      if (low >= high) reason = " has a low end that is not below its high end";
    }
    AddRefusal(item.value(), "bad-range", "the hinge range " + QuoteAt(item.value()) + reason);
  }

  void CheckRotations(const Item& item) {
    const auto piece = FirstRefused(item, Refusal::kUnsupportedValues);
    if (!piece) {
      AddRefusal(item.value(), "bad-rotation", QuoteAt(item.value()) + " holds no rotation");
      return;
    }
    std::vector<std::string> known;
    known.reserve(ScreenRotationIndex::kSupportedRotations.size());
    for (const int rotation : ScreenRotationIndex::kSupportedRotations) {
      known.push_back(std::to_string(rotation));
    }
    AddRefusal(*piece, "bad-rotation",
               QuoteAt(*piece) + " is no rotation; there are " + Enumerate(known));
  }

  // ---- Data files ----

  // Returns the number of files.
  size_t CheckDataFiles() {
    std::vector<DataFile> files;  // in the order of the text
    std::map<std::string_view, size_t> by_name;
    std::vector<Span> places;  // of their first mention
    for (size_t number = 0; number < in_force(); ++number) {
      for (const Item& item : TextOf(number).items) {
        const auto channel = std::find(kChannels.begin(), kChannels.end(), text_.at(item.name()));
        if (channel == kChannels.end()) continue;
        if (text_.Find(TextOf(number), *channel) != &item) continue;  // dropped
        const std::string_view name = text_.at(item.value());
        const auto [entry, is_new] = by_name.emplace(name, files.size());
        const bool is_left = *channel == kLeftChannel;
        if (is_new) {
          files.push_back(
              {std::string(name), PathOf(std::string(name)), &DataOf(number, is_left), {}, {}});
          places.push_back(item.value());
        }
        DataFile& file = files[entry->second];
        (is_left ? file.left_cases : file.right_cases).push_back(number);
      }
    }
    for (size_t i = 0; i < files.size(); ++i) {
      for (Finding& finding : CheckDataFile(files[i], options_.max_gain_db)) {
        if (finding.file.empty()) Place(finding, places[i]);
        placed_.emplace_back(places[i].offset, std::move(finding));
      }
    }
    return files.size();
  }

  const CompensationData& DataOf(size_t number, bool is_left) const {
    const int type = is_left ? CompensationData::kLeftType : CompensationData::kRightType;
    const auto& outputs = engine_->cases()[number].second;
    return *std::find_if(outputs.begin(), outputs.end(),
                         [type](const auto& output) { return output.type == type; });
  }

  // What a person opens to see the file.
  std::string PathOf(const std::string& name) const {
    std::string path = simulator::DataFolder::kDevicePath + name;
    const auto in_folder = simulator::DataFolder::NameInFolder(path);
    if (options_.data_root.empty() || !in_folder) return path;
    return options_.data_root + (options_.data_root.back() == '/' ? "" : "/") + *in_folder;
  }

  // ---- Ranges ----

  void CheckRanges(const std::vector<PostureResult>& postures) {
    const std::vector<CaseConfig> cases(config_.cases.begin(),
                                        config_.cases.begin() + static_cast<ptrdiff_t>(in_force()));
    for (Finding& finding : FindOddRanges(cases, postures)) {
      const Case& found_in = TextOf(*finding.case_number);
      const Item* const item = text_.Find(found_in, HingeAngleIndex::kName);
      Place(finding, item != nullptr ? item->value() : found_in.span);
      placed_.emplace_back(*finding.offset, std::move(finding));
    }
  }

  const CheckOptions& options_;
  const ConfigText text_;
  std::vector<size_t> line_starts_ = {0};
  bool is_reading_cut_short_ = false;
  const CompensationConfig config_;
  std::optional<TelephonySpeakerCompensation> engine_;
  std::optional<Refusal> refusal_;
  // Findings about a place in the text, and where they stand in the order of it.
  std::vector<std::pair<size_t, Finding>> placed_;
};

}  // namespace

CheckResult CheckConfig(const std::string& text, const CheckOptions& options) {
  // The reader's warnings and the engine's errors are what is looked at, whatever the user's level.
  const android::base::ScopedLogSeverity severity(android::base::WARNING);
  return ConfigCheck(text, options).Run();
}

}  // namespace brelmo::tavi::tools
