#include "check/refused_case.h"

#include <cerrno>
#include <cmath>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <android-base/parsedouble.h>
#include <android-base/parseint.h>

#include "check/known_names.h"
#include "check/reading_check.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using audio::compensation::HingeAngleIndex;
using audio::compensation::ScreenRotationIndex;
using Item = ConfigText::Item;

// Whether the whole of `text` is an integer to the module.
bool IsInteger(std::string_view text, int* value = nullptr) {
  int ignored = 0;
  return android::base::ParseInt(std::string(text), value != nullptr ? value : &ignored);
}

bool IsRotation(int value) {
  const auto& known = ScreenRotationIndex::kSupportedRotations;
  return std::find(known.begin(), known.end(), value) != known.end();
}

struct ValueFault {
  std::string reason;
  std::string cure;
};

// What a rule value that the module refuses has wrong with it.
ValueFault WhyNoInteger(std::string_view piece) {
  const std::string trimmed(piece.substr(0, piece.find_last_not_of(" \t\r\n\v\f") + 1));
  if (trimmed != piece && IsInteger(trimmed)) {
    const char last = piece.back();
    const char* const kind = last == '\t'   ? "a tab"
                             : last == '\r' ? "a carriage return"
                             : last == '\n' ? "a line feed"
                                            : "a blank";
    return {std::string("is no integer: it ends in ") + kind, "write " + trimmed + " alone"};
  }
  errno = 0;
  if (!IsInteger(trimmed) && errno == ERANGE) {
    return {"is beyond the range of a 32-bit integer", "write degrees"};
  }
  double number = 0.0;
  if (android::base::ParseDouble(trimmed, &number) && number != std::floor(number)) {
    return {"is no integer: it has a fraction", "write whole degrees"};
  }
  // Two of them, with something else than a comma between.
  const size_t at = trimmed.find_first_not_of("0123456789", 1);
  if (at != std::string::npos && IsInteger(trimmed.substr(0, at)) &&
      IsInteger(trimmed.substr(at + 1))) {
    return {"is no integer", "a comma separates values: write " + trimmed.substr(0, at) + "," +
                                 trimmed.substr(at + 1)};
  }
  return {"is no integer", "write the number of degrees alone"};
}

class RefusedCase {
 public:
  RefusedCase(const ConfigText& text, const CompensationConfig& config, size_t number,
              PlacedFindings& findings)
      : text_(text),
        number_(number),
        located_(text.cases()[number]),
        read_(config.cases[number]),
        first_(config.cases.front()),
        read_count_(config.cases.size()),
        findings_(findings) {}

  void Run(Refusal refusal) {
    switch (refusal) {
      case Refusal::kConditionCount:
        CheckConditionCount();
        break;
      case Refusal::kMissingOutput:
        CheckMissingOutput();
        break;
      case Refusal::kNoConditions:
        Add(located_.span, "no-conditions", Name() + " has no condition",
            CureOfSplitCase("write one, such as HingeAngle:0,180"));
        break;
      default:
        CheckConditions();
        break;
    }
    AddIgnored();
  }

 private:
  std::string Name() const { return "case " + std::to_string(number_); }
  std::string QuoteAt(Span span) const { return Quote(text_.at(span)); }

  void Add(Span place, const std::string& name, const std::string& message,
           const std::string& cure) {
    findings_.Add(place, name, Severity::kError, number_, message,
                  "the module refuses " + Name() + "; " + InForce(number_) + "; " + cure);
  }

  void AddIgnored() {
    if (number_ + 1 >= read_count_) return;
    const Span first = text_.cases()[number_ + 1].span;
    const Span last = text_.cases()[read_count_ - 1].span;
    findings_.Add({first.offset, last.offset + last.length - first.offset}, "cases-ignored",
                  Severity::kError, number_ + 1,
                  CasesFrom(number_ + 1, read_count_) +
                      (number_ + 2 == read_count_ ? " is ignored" : " are ignored"),
                  "the module stops at " + Name() + "; " + InForce(number_) +
                      (number_ > 0 ? " all the same" : "") + "; mend " + Name() +
                      " and check again");
  }

  // The usual cure, unless a space has ended this case, or the one before, too early.
  std::string CureOfSplitCase(const std::string& usual) const {
    std::string cure = CureOfSpace(text_, number_);
    if (cure.empty() && number_ > 0) cure = CureOfSpace(text_, number_ - 1);
    return cure.empty() ? usual : cure;
  }

  void CheckConditionCount() {
    const size_t count = read_.conditions.size();
    std::string message = Name() + " has " + Count(count, "condition") + ", case 0 has " +
                          std::to_string(first_.conditions.size());
    std::string cure = "give every case the same number of conditions";
    Span place = located_.span;
    for (const Item& item : located_.items) {
      const std::string_view name = text_.at(item.name());
      if (IsKnownName(name)) continue;
      place = item.name();
      const std::string nearest = NearestKnownName(name);
      message += "; " + Quote(name) + " counts as one, the nearest known name is " + nearest;
      if (IsMisspelt(name, nearest)) cure = "write " + nearest;
      break;
    }
    Add(place, "condition-count", message, cure);
  }

  void CheckMissingOutput() {
    std::vector<std::string> missing;
    std::string hints;
    std::string cure;
    Span place = located_.span;
    for (const std::string_view channel : kChannelNames) {
      if (read_.outputs.count(std::string(channel)) != 0) continue;
      missing.emplace_back(channel);
      for (const Item& item : located_.items) {
        const std::string_view name = text_.at(item.name());
        if (IsKnownName(name) || NearestKnownName(name) != channel || !IsMisspelt(name, channel)) {
          continue;
        }
        if (hints.empty()) place = item.name();
        hints += "; " + Quote(name) + " is taken for a condition";
        cure = "write " + std::string(channel);
        break;
      }
    }
    if (cure.empty()) {
      cure = CureOfSplitCase("write the data file of each channel, such as " + missing.front() +
                             ":file.txt");
    }
    Add(place, "missing-output", Name() + " has no " + Enumerate(missing) + hints, cure);
  }

  // Which condition the engine looks at first is not defined, so all are judged.
  void CheckConditions() {
    const size_t found_before = findings_.size();
    for (const Item& item : located_.items) {
      const std::string_view name = text_.at(item.name());
      if (item.is_repeated) continue;  // dropped
      if (std::find(kChannelNames.begin(), kChannelNames.end(), name) != kChannelNames.end()) {
        continue;
      }
      if (!IsConditionName(name)) {
        AddUnknown(item);
        continue;
      }
      const auto refusal = JudgeCondition(name, text_.at(item.value()));
      if (!refusal) continue;
      if (*refusal == Refusal::kNoInteger) {
        AddBadValue(item);
      } else if (name == HingeAngleIndex::kName) {
        AddBadRange(item);
      } else {
        AddBadRotation(item);
      }
    }
    if (findings_.size() == found_before) {
      throw std::logic_error("the engine refuses conditions that it takes one by one");
    }
  }

  void AddUnknown(const Item& item) {
    const std::string_view name = text_.at(item.name());
    const std::string nearest = NearestKnownName(name);
    const bool is_misspelt = IsMisspelt(name, nearest);
    Add(item.name(), "unknown-condition",
        Quote(name) + " is no condition; the nearest known name is " + nearest,
        is_misspelt ? "write " + nearest
                    : "leave it out: there are " + std::string(HingeAngleIndex::kName) + " and " +
                          std::string(ScreenRotationIndex::kName));
  }

  std::vector<Span> ValuesOf(const Item& item) const {
    return Pieces(text_.text(), item.value(), ',');
  }

  void AddBadValue(const Item& item) {
    const std::vector<Span> pieces = ValuesOf(item);
    const auto found = std::find_if(pieces.begin(), pieces.end(),
                                    [this](Span piece) { return !IsInteger(text_.at(piece)); });
    const Span piece = found == pieces.end() ? item.value() : *found;
    const ValueFault fault = WhyNoInteger(text_.at(piece));
    Add(piece, "bad-value",
        "the " + std::string(text_.at(item.name())) + " value " + QuoteAt(piece) + " " +
            fault.reason,
        fault.cure);
  }

  ValueFault WhyNoRange(const std::vector<Span>& pieces) const {
    if (pieces.size() != 2) {
      const std::string cure = pieces.size() > 2
                                   ? "write low and high in whole degrees: a comma separates them, "
                                     "and is no decimal mark"
                                   : CureOfSplitCase("write low and high, such as 0,90");
      return {" holds " + Count(pieces.size(), "value") + " instead of 2, low and high", cure};
    }
    int low = 0;
    int high = 0;
    IsInteger(text_.at(pieces[0]), &low);
    IsInteger(text_.at(pieces[1]), &high);
    if (low > high) {
      return {" has a low end that is not below its high end",
              "write " + std::to_string(high) + "," + std::to_string(low)};
    }
    if (low == high) {
      return {" has a low end that is not below its high end",
              "a range has two ends, such as " +
                  std::to_string(std::max(low - 1, HingeAngleIndex::kMinAngle)) + "," +
                  std::to_string(std::max(low, HingeAngleIndex::kMinAngle + 1))};
    }
    const std::string limits = std::to_string(HingeAngleIndex::kMinAngle) + " to " +
                               std::to_string(HingeAngleIndex::kMaxAngle);
    return {" reaches outside " + limits, "keep both ends in " + limits};
  }

  void AddBadRange(const Item& item) {
    const ValueFault fault = WhyNoRange(ValuesOf(item));
    Add(item.value(), "bad-range", "the hinge range " + QuoteAt(item.value()) + fault.reason,
        fault.cure);
  }

  void AddBadRotation(const Item& item) {
    const std::vector<Span> pieces = ValuesOf(item);
    int value = 0;
    const auto found = std::find_if(pieces.begin(), pieces.end(), [&](Span piece) {
      return !IsInteger(text_.at(piece), &value) || !IsRotation(value);
    });
    std::vector<std::string> known;
    known.reserve(ScreenRotationIndex::kSupportedRotations.size());
    for (const int rotation : ScreenRotationIndex::kSupportedRotations) {
      known.push_back(std::to_string(rotation));
    }
    if (found == pieces.end()) {
      Add(item.value(), "bad-rotation", QuoteAt(item.value()) + " holds no rotation",
          "write some of " + Enumerate(known));
      return;
    }
    const int turned = (value % 360 + 360) % 360;
    Add(*found, "bad-rotation", QuoteAt(*found) + " is no rotation; there are " + Enumerate(known),
        IsRotation(turned) ? "write " + std::to_string(turned) : "write one of these");
  }

  const ConfigText& text_;
  const size_t number_;
  const ConfigText::Case& located_;
  const CaseConfig& read_;
  const CaseConfig& first_;
  const size_t read_count_;
  PlacedFindings& findings_;
};

}  // namespace

void CheckRefusedCase(const ConfigText& text, const CompensationConfig& config, size_t number,
                      Refusal refusal, PlacedFindings& findings) {
  RefusedCase(text, config, number, findings).Run(refusal);
}

}  // namespace brelmo::tavi::tools
