#include "check/posture_text.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using Rotations = std::set<int>;
// By hinge angle; the state before the first reading comes first.
using RotationsByAngle = std::map<std::optional<int>, Rotations>;

RotationsByAngle ByAngle(const std::vector<Posture>& postures) {
  RotationsByAngle rotations;
  for (const Posture& posture : postures) rotations[posture.hinge_angle].insert(posture.rotation);
  return rotations;
}

const RotationsByAngle& Everything() {
  static const auto* const everything = new RotationsByAngle(ByAngle(AllPostures()));
  return *everything;
}

std::string DescribeRotations(const Rotations& rotations) {
  std::vector<std::string> words;
  for (const int rotation : rotations) words.push_back(std::to_string(rotation));
  return "rotation " + Enumerate(words);
}

std::string AtRotations(const Rotations& rotations) {
  const bool is_any = rotations == Everything().begin()->second;
  return is_any ? "" : " at " + DescribeRotations(rotations);
}

}  // namespace

std::string DescribePostures(const std::vector<Posture>& postures) {
  const RotationsByAngle by_angle = ByAngle(postures);
  if (by_angle == Everything()) return "every posture";
  const Rotations& first = by_angle.begin()->second;
  const bool is_same_everywhere =
      by_angle.size() == Everything().size() &&
      std::all_of(by_angle.begin(), by_angle.end(),
                  [&first](const auto& entry) { return entry.second == first; });
  if (is_same_everywhere) return DescribeRotations(first) + " whatever the hinge angle";

  // Angles that share their rotations, in the order of the lowest.
  std::string before_first_reading;
  std::vector<std::pair<Rotations, std::vector<size_t>>> regions;
  for (const auto& [angle, rotations] : by_angle) {
    if (!angle) {
      before_first_reading = "before the first hinge reading" + AtRotations(rotations);
      continue;
    }
    auto region =
        std::find_if(regions.begin(), regions.end(),
                     [&same = rotations](const auto& known) { return known.first == same; });
    if (region == regions.end()) region = regions.insert(region, {rotations, {}});
    region->second.push_back(static_cast<size_t>(*angle));
  }
  std::string text;
  for (const auto& [rotations, angles] : regions) {
    if (!text.empty()) text += "; ";
    text += "hinge angle " + NumberRanges(angles) + AtRotations(rotations);
  }
  if (!before_first_reading.empty()) text += (text.empty() ? "" : "; ") + before_first_reading;
  return text;
}

}  // namespace brelmo::tavi::tools
