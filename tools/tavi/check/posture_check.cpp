#include "check/posture_check.h"

#include <algorithm>
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

  bool Holds(int angle) const { return range && range->first <= angle && angle <= range->second; }
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

// In the following, `declared` has the cases up to and with the one that is looked at.

// The first of the earlier cases whose range holds the angle.
std::optional<size_t> FirstToHold(const std::vector<Declaration>& declared, int angle) {
  for (size_t i = 0; i + 1 < declared.size(); ++i) {
    if (declared[i].Holds(angle)) return i;
  }
  return std::nullopt;
}

// "90 lies in the earlier range of case 0", for the ends of the range.
std::string EndsInEarlierRanges(const std::vector<Declaration>& declared) {
  const Declaration& own = declared.back();
  if (!own.range) return "";
  std::map<size_t, std::vector<std::string>> ends;
  for (const int end : {own.range->first, own.range->second}) {
    if (const auto holder = FirstToHold(declared, end)) {
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

std::string WhyLost(const std::vector<Declaration>& declared, const std::vector<Posture>& lost) {
  std::set<size_t> holders;
  bool is_own_range_lost = false;
  for (const Posture& posture : lost) {
    const auto holder = FirstToHold(declared, posture.hinge_angle.value_or(-1));
    if (holder) holders.insert(*holder);
    is_own_range_lost = is_own_range_lost || !holder;
  }
  std::string why;
  if (is_own_range_lost) {
    why = "it looks a range up by its ends, and " + EndsInEarlierRanges(declared);
  }
  if (!holders.empty()) {
    why += std::string(why.empty() ? "" : "; ") +
           "an angle belongs to the first range that holds it, here that of " +
           CaseNumbers({holders.begin(), holders.end()});
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

void CompareRange(const std::vector<Declaration>& declared, const std::vector<bool>& actual,
                  const std::vector<PostureResult>& postures, std::vector<Finding>& findings) {
  const Declaration& own = declared.back();
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
  const size_t number = declared.size() - 1;
  const std::string declares =
      "case " + std::to_string(number) + " declares " + DescribePostures(says) + " but ";
  if (is_wider) {
    findings.push_back(MakeFinding("wider-than-declared", Severity::kWarning, number,
                                   declares + "matches " + DescribePostures(matches),
                                   "the module looks a range up by its ends and matches the case "
                                   "at every angle that belongs to "
                                   "the range it finds: " +
                                       EndsInEarlierRanges(declared)));
  }
  if (!lost.empty()) {
    findings.push_back(
        MakeFinding("narrower-than-declared", Severity::kWarning, number,
                    declares + "does not match " + DescribePostures(lost) + "; it matches " +
                        DescribePostures(matches),
                    "the module never takes the case there: " + WhyLost(declared, lost)));
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
  std::vector<Declaration> declared;
  for (size_t number = 0; number < cases.size(); ++number) {
    declared.push_back(Declare(cases[number], postures.size()));
    if (actual[number] != declared.back().postures) {
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
        "included";
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
    findings.push_back(MakeFinding("unreachable-case", Severity::kWarning, number,
                                   "no posture ever takes case " + std::to_string(number),
                                   "the module takes " +
                                       CaseNumbers({others.begin(), others.end()}) +
                                       " wherever case " + std::to_string(number) + " matches"));
  }
  if (!uncovered.empty()) {
    findings.push_back(
        MakeFinding("uncovered-posture", Severity::kNote, std::nullopt,
                    "no case is taken in these postures: " + DescribePostures(uncovered),
                    "the module sends nothing there: the corrections last sent stay"));
  }
  return findings;
}

}  // namespace brelmo::tavi::tools
