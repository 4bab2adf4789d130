// What an update takes in each posture, against a plain search of the case table.
#include <algorithm>
#include <random>

#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using Engine = TelephonySpeakerCompensation;

// The search as it is told: the first case that matches and whose keys differ from the previous.
const Engine::Case* Search(const EngineBench& bench, int angle, int rotation,
                           const CaseKeys* previous) {
  const auto parameters = bench.inside.BuildRequestedTuningParameters(angle, rotation);
  if (parameters.empty()) return nullptr;
  for (const Engine::Case& candidate : bench.engine.cases()) {
    const bool is_previous = previous != nullptr && candidate.first == *previous;
    if (bench.inside.IsMatched(candidate.first, parameters) && !is_previous) return &candidate;
  }
  return nullptr;
}

class Random {
 public:
  explicit Random(int seed) : engine_(seed) {}

  int Below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(engine_); }
  int Rotation() { return 90 * Below(4); }

  // Rules of few different ends, so that ranges repeat, touch and overlap.
  CaseKeys Keys(EngineBench& bench, bool has_hinge, bool has_rotation) {
    CaseKeys keys;
    if (has_hinge) {
      const int low = 30 * Below(6);
      const int high = low + 1 + Below(180 - low);
      bench.inside.ParseRule(keys, {std::to_string(low), std::to_string(high)}, "HingeAngle");
    }
    if (has_rotation) {
      std::vector<std::string> pieces(1 + Below(2));
      for (std::string& piece : pieces) piece = std::to_string(Rotation());
      bench.inside.ParseRule(keys, pieces, "ScreenRotation");
    }
    if (Below(2) == 0) std::reverse(keys.begin(), keys.end());
    return keys;
  }

 private:
  std::mt19937 engine_;
};

TEST(ChooseCase, TakesWhatAPlainSearchFinds) {
  for (int seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    EngineBench bench;
    const int conditions = random.Below(3);  // hinge angle, screen rotation, both
    std::vector<CaseKeys> keys;
    for (int count = random.Below(12); count > 0; --count) {
      const bool repeats = !keys.empty() && random.Below(4) == 0;
      keys.push_back(repeats ? keys[random.Below(static_cast<int>(keys.size()))]
                             : random.Keys(bench, conditions != 1, conditions != 0));
      if (random.Below(20) == 0) keys.back().clear();
    }
    for (const CaseKeys& one : keys) bench.inside.AppendCase(one, {});
    // Whatever was sent last: nothing, any of the cases, or keys that are in no case.
    const CaseKeys foreign = {CaseKey("HingeAngle", {77})};
    std::vector<const CaseKeys*> previous = {nullptr, &foreign};
    for (const auto& [case_keys, outputs] : bench.engine.cases()) previous.push_back(&case_keys);

    for (int angle = -2; angle <= 181; ++angle) {
      for (const int rotation : {0, 90, 180, 270, -1, 45, 360}) {
        for (const CaseKeys* const one : previous) {
          ASSERT_EQ(bench.engine.ChooseCase(angle, rotation, one),
                    Search(bench, angle, rotation, one))
              << angle << " " << rotation;
        }
      }
    }
  }
}

TEST(ChooseCase, TellsApartEveryIndexValueThereCanBe) {
  EngineBench bench;
  // Each angle but the first is the upper end of a range of its own.
  for (int angle = 1; angle <= 180; ++angle) {
    CaseKeys keys;
    bench.Declare("HingeAngle", {std::to_string(angle - 1), std::to_string(angle)});
    bench.Declare("ScreenRotation", {std::to_string(90 * (angle % 4))});
    keys.emplace_back("HingeAngle", std::vector<int>{angle - 1});
    bench.inside.AppendCase(keys, {});
  }
  const auto* const cases = bench.engine.cases().data();
  for (int angle = 0; angle <= 180; ++angle) {
    EXPECT_EQ(bench.engine.ChooseCase(angle, 0, nullptr) - cases, std::max(angle - 1, 0));
    EXPECT_EQ(bench.engine.ChooseCase(angle, 45, nullptr) - cases, std::max(angle - 1, 0));
  }
  EXPECT_EQ(bench.engine.ChooseCase(-1, 0, nullptr), nullptr);
}

TEST(ChooseCase, ListsAllThatMatch) {
  EngineBench bench;
  bench.Declare("HingeAngle", {"0", "90"});
  bench.Declare("HingeAngle", {"91", "180"});
  for (const std::vector<int>& indices : {std::vector<int>{0}, {1}, {0, 1}, {0}}) {
    bench.inside.AppendCase({CaseKey("HingeAngle", indices)}, {});
  }
  const auto* const cases = bench.engine.cases().data();
  EXPECT_THAT(bench.engine.MatchingCases(45, 0), ElementsAre(cases, cases + 2, cases + 3));
  EXPECT_THAT(bench.engine.MatchingCases(-1, 0), testing::IsEmpty());
}

}  // namespace
}  // namespace brelmo::tavi::test
