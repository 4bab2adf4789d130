#include "check/posture_check.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "check/posture_text.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::HingeAngleIndex;
using audio::compensation::TelephonySpeakerCompensation;

// The postures that a case declares, as bits of AllPostures(), and its hinge range.
struct Declaration {
  std::vector<bool> postures;
  std::optional<std::pair<int, int>> range;
};

size_t NumberOf(const Posture& posture) {
  static const auto* const numbers = [] {
    auto* const made = new std::map<std::pair<std::optional<int>, int>, size_t>;
    for (const Posture& any : AllPostures()) {
      made->emplace(std::pair(any.hinge_angle, any.rotation), made->size());
    }
    return made;
  }();
  return numbers->at({posture.hinge_angle, posture.rotation});
}

Declaration Declare(const CaseConfig& case_config, size_t posture_count) {
  const bool has_range = case_config.conditions.count(std::string(HingeAngleIndex::kName)) != 0;
  Declaration declaration = {std::vector<bool>(posture_count), std::nullopt};
  for (const Posture& posture : DeclaredPostures(case_config)) {
    declaration.postures[NumberOf(posture)] = true;
    if (!has_range || !posture.hinge_angle) continue;
    const int angle = *posture.hinge_angle;
    if (!declaration.range) declaration.range = {angle, angle};
    declaration.range = {std::min(declaration.range->first, angle),
                         std::max(declaration.range->second, angle)};
  }
  return declaration;
}

// The cases up to and with the one that is looked at, and which range an angle belongs to: the
// first that holds it.
class Declarations {
 public:
  void Add(Declaration declaration) {
    declared_.push_back(std::move(declaration));
    // Its own angles count from the next one on.
    if (declared_.size() < 2) return;
    const size_t before = declared_.size() - 2;
    if (!declared_[before].range) return;
    const auto& [low, high] = *declared_[before].range;
    for (int angle = low; angle <= high; ++angle) {
      auto& holder = holders_[static_cast<size_t>(angle)];
      if (!holder) holder = before;
    }
  }

  const Declaration& own() const { return declared_.back(); }
  size_t number() const { return declared_.size() - 1; }

  // The first of the earlier cases whose range holds the angle, unless that is the own range: equal
  // ranges are one to the module.
  std::optional<size_t> EarlierHolder(std::optional<int> angle) const {
    if (!angle) return std::nullopt;
    const auto holder = holders_[static_cast<size_t>(*angle)];
    return holder && declared_[*holder].range == own().range ? std::nullopt : holder;
  }

 private:
  std::vector<Declaration> declared_;
  std::array<std::optional<size_t>, HingeAngleIndex::kMaxAngle + 1> holders_;
};

// "90 lies in the earlier range of case 0", for the ends of the range.
std::string EndsInEarlierRanges(const Declarations& declared) {
  if (!declared.own().range) return "";
  std::map<size_t, std::vector<std::string>> ends;
  for (const int end : {declared.own().range->first, declared.own().range->second}) {
    if (const auto holder = declared.EarlierHolder(end)) {
      ends[*holder].push_back(std::to_string(end));
    }
  }
  std::vector<std::string> words;
  words.reserve(ends.size());
  for (const auto& [holder, angles] : ends) {
    words.push_back(Enumerate(angles) + (angles.size() == 1 ? " lies" : " lie") +
                    " in the earlier range of case " + std::to_string(holder));
  }
  return Enumerate(words);
}

// How to write a range of which an end lies in an earlier one.
std::string CureOfRange(const Declarations& declared) {
  const auto& [low, high] = *declared.own().range;
  int begin = low;
  int end = high;
  while (begin < end && declared.EarlierHolder(begin)) ++begin;
  while (end > begin && declared.EarlierHolder(end)) --end;
  if (begin >= end) return "let ranges neither overlap nor touch";
  std::vector<std::string> words;
  if (begin != low) words.push_back("begin it at " + std::to_string(begin));
  if (end != high) words.push_back("end it at " + std::to_string(end));
  return Enumerate(words);
}

std::string WhyLost(const Declarations& declared, const std::vector<Posture>& lost) {
  std::set<size_t> holders;
  bool is_own_range_lost = false;
  for (const Posture& posture : lost) {
    const auto holder = declared.EarlierHolder(posture.hinge_angle);
    if (holder) holders.insert(*holder);
    is_own_range_lost = is_own_range_lost || !holder;
  }
  std::string why;
  if (is_own_range_lost) {
    why = "it looks a range up by its ends, and " + EndsInEarlierRanges(declared) + "; " +
          CureOfRange(declared);
  }
  if (!holders.empty()) {
    why += std::string(why.empty() ? "" : "; ") +
           "an angle belongs to the first range that holds it, here that of " +
           CaseNumbers({holders.begin(), holders.end()}) + "; let ranges not overlap";
  }
  return why;
}

bool HaveSameConditions(const TelephonySpeakerCompensation::CaseKeys& a,
                        const TelephonySpeakerCompensation::CaseKeys& b) {
  const auto texts = [](const TelephonySpeakerCompensation::CaseKeys& keys) {
    std::set<std::string> found;
    for (const auto& key : keys) found.insert(key.ToString());
    return found;
  };
  return texts(a) == texts(b);
}

void CompareRange(const Declarations& declared, const std::vector<bool>& actual,
                  const std::vector<PostureResult>& postures, std::vector<Finding>& findings) {
  const Declaration& own = declared.own();
  std::vector<Posture> says;
  std::vector<Posture> matches;
  std::vector<Posture> lost;
  bool is_wider = false;
  for (size_t i = 0; i < postures.size(); ++i) {
    if (own.postures[i]) says.push_back(postures[i].posture);
    if (actual[i]) matches.push_back(postures[i].posture);
    if (own.postures[i] && !actual[i]) lost.push_back(postures[i].posture);
    is_wider = is_wider || (actual[i] && !own.postures[i]);
  }
  const size_t number = declared.number();
  const std::string declares =
      "case " + std::to_string(number) + " declares " + DescribePostures(says) + " but ";
  if (is_wider) {
    findings.push_back(MakeFinding("wider-than-declared", Severity::kWarning, number,
                                   declares + "matches " + DescribePostures(matches),
                                   "the module looks a range up by its ends and matches the case "
                                   "at every angle that belongs to "
                                   "the range it finds: " +
                                       EndsInEarlierRanges(declared) + "; " +
                                       CureOfRange(declared)));
  }
  if (!lost.empty()) {
    findings.push_back(
        MakeFinding("narrower-than-declared", Severity::kWarning, number,
                    declares + "does not match " + DescribePostures(lost) + "; it matches " +
                        DescribePostures(matches),
                    "the module never takes the case there: " + WhyLost(declared, lost)));
  }
}

// Before the first reading no hinge rule holds, and most configurations have only such rules: that
// is worth a note, and is no gap in what they cover.
void AddUncovered(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                  const std::vector<bool>& is_taken, std::vector<Posture> uncovered,
                  std::vector<Finding>& findings) {
  const auto has_hinge_rule = [](const TelephonySpeakerCompensation::Case& candidate) {
    return std::any_of(candidate.first.begin(), candidate.first.end(),
                       [](const auto& key) { return key.name == HingeAngleIndex::kName; });
  };
  bool is_hinge_rule_taken = false;
  for (size_t number = 0; number < cases.size(); ++number) {
    is_hinge_rule_taken =
        is_hinge_rule_taken || (is_taken[number] && has_hinge_rule(cases[number]));
  }
  std::vector<Posture> early;
  if (is_hinge_rule_taken) {
    const auto is_early = [](const Posture& posture) { return !posture.hinge_angle; };
    std::copy_if(uncovered.begin(), uncovered.end(), std::back_inserter(early), is_early);
    uncovered.erase(std::remove_if(uncovered.begin(), uncovered.end(), is_early), uncovered.end());
  }
  if (!uncovered.empty()) {
    findings.push_back(
        MakeFinding("uncovered-posture", Severity::kWarning, std::nullopt,
                    "no case is taken in these postures: " + DescribePostures(uncovered),
                    "the module sends nothing there: the corrections last sent stay; widen a case, "
                    "or add one"));
  }
  if (!early.empty()) {
    findings.push_back(
        MakeFinding("before-first-hinge-reading", Severity::kNote, std::nullopt,
                    "no case is taken " + DescribePostures(early),
                    "the module sends nothing until the hinge sensor reports for the first time"));
  }
}

}  // namespace

std::vector<Finding> FindOddRanges(const std::vector<CaseConfig>& cases,
                                   const std::vector<PostureResult>& postures) {
  std::vector<std::vector<bool>> actual(cases.size(), std::vector<bool>(postures.size()));
  for (size_t i = 0; i < postures.size(); ++i) {
    for (const size_t number : postures[i].matching) actual[number][i] = true;
  }
  std::vector<Finding> findings;
  Declarations declared;
  for (size_t number = 0; number < cases.size(); ++number) {
    declared.Add(Declare(cases[number], postures.size()));
    if (actual[number] != declared.own().postures) {
      CompareRange(declared, actual[number], postures, findings);
    }
  }
  return findings;
}

std::vector<Finding> FindOddPostures(const std::vector<TelephonySpeakerCompensation::Case>& cases,
                                     const std::vector<PostureResult>& postures) {
  const size_t case_count = cases.size();
  struct Overlap {
    std::vector<Posture> postures;
    std::set<size_t> others;  // which match there too, and are never taken there
  };
  std::map<std::pair<size_t, size_t>, Overlap> overlaps;
  std::vector<std::set<size_t>> taken_instead(case_count);
  std::vector<bool> is_taken(case_count);
  std::vector<Posture> uncovered;
  for (const PostureResult& result : postures) {
    if (!result.taken) {
      uncovered.push_back(result.posture);
      continue;
    }
    const size_t taken = *result.taken;
    const size_t alternate = result.alternate.value_or(taken);
    is_taken[taken] = is_taken[alternate] = true;
    for (const size_t number : result.matching) taken_instead[number].insert({taken, alternate});
    if (taken == alternate) continue;
    Overlap& overlap = overlaps[std::minmax(taken, alternate)];
    overlap.postures.push_back(result.posture);
    for (const size_t number : result.matching) {
      if (number != taken && number != alternate) overlap.others.insert(number);
    }
  }

  std::vector<Finding> findings;
  for (const auto& [pair, overlap] : overlaps) {
    std::string message = CaseNumbers({pair.first, pair.second}) + " both match " +
                          DescribePostures(overlap.postures);
    if (!overlap.others.empty()) {
      message += "; " + CaseNumbers({overlap.others.begin(), overlap.others.end()}) +
                 " too, at least in part, but no update takes " +
                 (overlap.others.size() == 1 ? "it" : "them") + " there";
    }
    std::string consequence =
        "the module flips between the two at every update there, each change of the hinge angle "
        "included; let no posture fit both";
    if (HaveSameConditions(cases[pair.first].first, cases[pair.second].first)) {
      consequence +=
          "; as their conditions are the same in another order, a module built with another C++ "
          "library may take the first of them for good";
    }
    findings.push_back(
        MakeFinding("alternating-cases", Severity::kWarning, pair.second, message, consequence));
  }
  for (size_t number = 0; number < case_count; ++number) {
    if (is_taken[number]) continue;
    const std::set<size_t>& others = taken_instead[number];
    findings.push_back(MakeFinding(
        "unreachable-case", Severity::kWarning, number,
        "no posture ever takes case " + std::to_string(number),
        "the module takes " + CaseNumbers({others.begin(), others.end()}) + " wherever case " +
            std::to_string(number) + " matches; leave it out, or let it match elsewhere"));
  }
  AddUncovered(cases, is_taken, uncovered, findings);
  return findings;
}

}  // namespace brelmo::tavi::tools
