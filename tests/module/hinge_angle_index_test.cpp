#include <gmock/gmock.h>

#include "index.h"
#include "log_recorder.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::HingeAngleIndex;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(HingeAngleIndex, MatchesItsNameOnly) {
  const HingeAngleIndex index;
  EXPECT_TRUE(index.Match("HingeAngle"));
  for (const char* name : {"", "Hinge", "HingeAngles", "hingeangle", "ScreenRotation"}) {
    EXPECT_FALSE(index.Match(name)) << name;
  }
}

TEST(HingeAngleIndex, RefusesWhatIsNoRange) {
  const std::pair<std::vector<int>, const char*> rows[] = {
      {{}, "invalid data size 0"},           {{30}, "invalid data size 1"},
      {{0, 90, 180}, "invalid data size 3"}, {{0, 181}, "invalid range 0 ~ 181"},
      {{-1, 90}, "invalid range -1 ~ 90"},   {{90, 90}, "invalid range 90 ~ 90"},
      {{100, 90}, "invalid range 100 ~ 90"},
  };
  HingeAngleIndex index;
  EXPECT_EQ(index.ToString(), "HingeAngle {}");
  EXPECT_TRUE(index.UpdateDecisionRules({91, 180}));
  EXPECT_TRUE(index.UpdateDecisionRules({0, 45}));
  for (const auto& [values, message] : rows) {
    LogRecorder log;
    EXPECT_FALSE(index.UpdateDecisionRules(values));
    EXPECT_THAT(log.Take(),
                ElementsAre(IndexError("UpdateDecisionRules: " + std::string(message))));
    EXPECT_EQ(index.ToString(), "HingeAngle {[91~180]:0, [0~45]:1, }");
  }
}

TEST(HingeAngleIndex, GivesThePositionOfTheFirstRangeThatContainsTheAngle) {
  const struct {
    std::vector<std::vector<int>> ranges;
    std::vector<int> reading;
    std::optional<int> index;
  } rows[] = {
      {{}, {0}, std::nullopt},
      {{{0, 180}}, {0}, 0},
      {{{0, 180}}, {180}, 0},
      {{{0, 180}}, {-1}, std::nullopt},
      {{{0, 180}}, {181}, std::nullopt},
      {{{0, 180}}, {}, std::nullopt},
      {{{0, 180}}, {45, 45}, std::nullopt},
      {{{0, 90}, {90, 180}}, {90}, 0},
      {{{0, 90}, {90, 180}}, {91}, 1},
      {{{0, 90}, {100, 180}}, {95}, std::nullopt},
      {{{60, 120}, {0, 90}}, {70}, 0},
      {{{60, 120}, {0, 90}}, {59}, 1},
      {{{0, 90}, {0, 90}, {91, 180}}, {120}, 1},
  };
  for (const auto& row : rows) {
    LogRecorder log;
    HingeAngleIndex index;
    for (const auto& range : row.ranges) EXPECT_TRUE(index.UpdateDecisionRules(range));
    EXPECT_EQ(index.GetIndex(row.reading), row.index)
        << index.ToString() << " reading " << testing::PrintToString(row.reading);
    EXPECT_THAT(log.Take(), IsEmpty());
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
