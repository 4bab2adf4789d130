#include "check/known_names.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::HingeAngleIndex;
using audio::compensation::ScreenRotationIndex;

const std::vector<std::string>& KnownNames() {
  static const auto* const names = new std::vector<std::string>{
      std::string(HingeAngleIndex::kName), std::string(ScreenRotationIndex::kName),
      std::string(kChannelNames[0]), std::string(kChannelNames[1])};
  return *names;
}

}  // namespace

bool IsConditionName(std::string_view name) {
  return name == HingeAngleIndex::kName || name == ScreenRotationIndex::kName;
}

bool IsKnownName(std::string_view name) {
  return std::find(KnownNames().begin(), KnownNames().end(), name) != KnownNames().end();
}

std::string NearestKnownName(std::string_view name) { return NearestName(name, KnownNames()); }

std::string CasesFrom(size_t begin, size_t end) {
  std::vector<size_t> numbers(end - begin);
  std::iota(numbers.begin(), numbers.end(), begin);
  return CaseNumbers(numbers);
}

std::string InForce(size_t count) {
  if (count == 0) return "no case is in force";
  return CasesFrom(0, count) + (count == 1 ? " stays" : " stay") + " in force";
}

}  // namespace brelmo::tavi::tools
