#include <gmock/gmock.h>

#include "index.h"
#include "log_recorder.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::ScreenRotationIndex;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

// The index values of 0, 90, 180 and 270 degrees; -1: no rotation.
std::vector<int> IndexValues(const ScreenRotationIndex& index) {
  std::vector<int> values;
  for (const int rotation : {0, 90, 180, 270}) {
    values.push_back(index.GetIndex({rotation}).value_or(-1));
  }
  return values;
}

TEST(ScreenRotationIndex, MatchesItsNameOnly) {
  const ScreenRotationIndex index;
  EXPECT_TRUE(index.Match("ScreenRotation"));
  for (const char* name : {"", "Screen", "ScreenRotations", "screenrotation", "HingeAngle"}) {
    EXPECT_FALSE(index.Match(name)) << name;
  }
}

TEST(ScreenRotationIndex, NumbersRotationsInOrderOfDeclaration) {
  const struct {
    std::vector<std::vector<int>> rules;
    std::vector<int> indices;
  } rows[] = {
      {{}, {-1, -1, -1, -1}},
      {{{90}, {0, 90, 270}}, {1, 0, -1, 2}},
      {{{180, 180}, {0}}, {1, -1, 0, -1}},
      {{{270, 180, 90, 0}, {0}}, {3, 2, 1, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.rules));
    LogRecorder log;
    ScreenRotationIndex index;
    for (const auto& rule : row.rules) EXPECT_TRUE(index.UpdateDecisionRules(rule));
    EXPECT_EQ(IndexValues(index), row.indices);
    EXPECT_EQ(index.GetIndex({}), std::nullopt);
    EXPECT_EQ(index.GetIndex({0, 0}), std::nullopt);
    EXPECT_THAT(log.Take(), IsEmpty());
  }
}

TEST(ScreenRotationIndex, StoresNothingOfARefusedRule) {
  const std::pair<std::vector<int>, const char*> rows[] = {
      {{}, "invalid input."},
      {{0, 45}, "invalid value found 45"},
      {{180, -90, 360}, "invalid value found -90"},
      {{360}, "invalid value found 360"},
  };
  ScreenRotationIndex index;
  EXPECT_EQ(index.ToString(), "ScreenRotation {}");
  EXPECT_TRUE(index.UpdateDecisionRules({90}));
  for (const auto& [values, message] : rows) {
    LogRecorder log;
    EXPECT_FALSE(index.UpdateDecisionRules(values));
    EXPECT_THAT(log.Take(),
                ElementsAre(IndexError("UpdateDecisionRules: " + std::string(message))));
    EXPECT_EQ(index.ToString(), "ScreenRotation {90:0, }");
  }
  // No number was used up either.
  EXPECT_TRUE(index.UpdateDecisionRules({270}));
  EXPECT_THAT(index.ToString(),
              AnyOf("ScreenRotation {90:0, 270:1, }", "ScreenRotation {270:1, 90:0, }"));
}

}  // namespace
}  // namespace brelmo::tavi::test
