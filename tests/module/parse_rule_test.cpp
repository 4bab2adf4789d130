#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Pieces = std::vector<std::string>;

TEST(CaseKey, ToString) {
  EXPECT_EQ(CaseKey("ScreenRotation", {0, 1}).ToString(),
            "Name : ScreenRotation, Supported Index: {0 1 }");
  EXPECT_EQ(CaseKey("HingeAngle", {}).ToString(), "Name : HingeAngle, Supported Index: {}");
  EXPECT_EQ(TelephonySpeakerCompensation::ToString({}), "Case Keys : {}");
  EXPECT_EQ(TelephonySpeakerCompensation::ToString({CaseKey("A", {0}), CaseKey("B", {1, -2})}),
            "Case Keys : {Name : A, Supported Index: {0 } Name : B, Supported Index: {1 -2 } }");
}

TEST(CaseKey, EqualityNeedsNameAndIndicesInOrder) {
  const CaseKey key("HingeAngle", {0, 1});
  EXPECT_TRUE(key == CaseKey("HingeAngle", {0, 1}));
  EXPECT_FALSE(key == CaseKey("ScreenRotation", {0, 1}));
  EXPECT_FALSE(key == CaseKey("HingeAngle", {1, 0}));
  EXPECT_FALSE(key == CaseKey("HingeAngle", {0}));
}

TEST(ParseRule, BuildsKeysInConfigurationOrder) {
  const struct {
    const char* name;
    Pieces pieces;
    std::vector<int> indices;
  } steps[] = {
      {"HingeAngle", {"0", "90"}, {0}},
      {"ScreenRotation", {"0", "180"}, {0, 1}},
      {"HingeAngle", {"91", "180"}, {1}},
      {"ScreenRotation", {"90", "270"}, {2, 3}},
      // Both ends lie in earlier ranges: the range itself, at position 2, is not in the key.
      {"HingeAngle", {"90", "180"}, {0, 1}},
      {"ScreenRotation", {"0"}, {0}},
      {"HingeAngle", {"30", "60"}, {0}},
      {"HingeAngle", {"100", "20"}, {}},
      {"ScreenRotation", {"270", "0", "270"}, {3, 0}},
  };
  EngineBench bench;
  CaseKeys keys;
  CaseKeys expected;
  for (const auto& step : steps) {
    SCOPED_TRACE(testing::PrintToString(step.pieces));
    EXPECT_EQ(bench.inside.ParseRule(keys, step.pieces, step.name), !step.indices.empty());
    if (!step.indices.empty()) expected.emplace_back(step.name, step.indices);
    EXPECT_EQ(TelephonySpeakerCompensation::ToString(keys),
              TelephonySpeakerCompensation::ToString(expected));
  }
  ASSERT_EQ(bench.engine.indices().size(), 2U);
  EXPECT_EQ(bench.engine.indices()[0]->ToString(),
            "HingeAngle {[0~90]:0, [91~180]:1, [90~180]:2, [30~60]:3, }");
  EXPECT_TRUE(bench.engine.indices()[1]->Match("ScreenRotation"));
}

TEST(ParseRule, JudgesThePieces) {
  const std::string hinge = "HingeAngle";
  const std::string rotation = "ScreenRotation";
  const struct {
    std::string name;
    Pieces pieces;
    std::string error;        // empty for a good rule
    std::string index_error;  // the line before it
  } rows[] = {
      {hinge, {" 90", "180"}, "", ""},
      {hinge, {"\t\n\v\f\r0", "+180"}, "", ""},
      {rotation, {"0x5A", "0XB4", "+90", "090"}, "", ""},
      {hinge, {}, "null rule data for name HingeAngle", ""},
      {rotation, {}, "null rule data for name ScreenRotation", ""},
      {hinge, {"90 ", "180"}, "invalid rule data name 90 ", ""},
      {hinge, {"0", "180\r"}, "invalid rule data name 180\r", ""},
      {hinge, {" 0", " 9z"}, "invalid rule data name  9z", ""},
      {hinge, {"", "0"}, "invalid rule data name ", ""},
      {rotation, {"0", "1.0", "z"}, "invalid rule data name 1.0", ""},
      {rotation, {"2147483648"}, "invalid rule data name 2147483648", ""},
      {rotation, {"-2147483649"}, "invalid rule data name -2147483649", ""},
      {rotation, {"99999999999999999999"}, "invalid rule data name 99999999999999999999", ""},
      {rotation, {"-0x10"}, "invalid rule data name -0x10", ""},
      {rotation,
       {"010"},
       "unsupported rule data for name ScreenRotation",
       "invalid value found 10"},
      {hinge, {"30"}, "unsupported rule data for name HingeAngle", "invalid data size 1"},
      {hinge,
       {"-2147483648", "2147483647"},
       "unsupported rule data for name HingeAngle",
       "invalid range -2147483648 ~ 2147483647"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + " " + testing::PrintToString(row.pieces));
    std::vector<std::string> log;
    if (!row.index_error.empty()) {
      log.push_back(IndexError("UpdateDecisionRules: " + row.index_error));
    }
    if (!row.error.empty()) log.push_back(EngineError("ParseRule: " + row.error));
    EngineBench bench;
    CaseKeys keys;
    EXPECT_EQ(bench.inside.ParseRule(keys, row.pieces, row.name), row.error.empty());
    EXPECT_EQ(keys.empty(), !row.error.empty());
    EXPECT_EQ(bench.log.Take(), log);
    // The index stays, whatever became of the rule.
    ASSERT_EQ(bench.engine.indices().size(), 1U);
    EXPECT_TRUE(bench.engine.indices()[0]->Match(row.name));
  }
}

TEST(ParseRule, GivesAnUnknownNameToTheIndexAddedLast) {
  EngineBench bench;
  CaseKeys keys;
  EXPECT_FALSE(bench.inside.ParseRule(keys, {"0", "90"}, "Hinge"));
  EXPECT_THAT(bench.engine.indices(), IsEmpty());

  ASSERT_TRUE(bench.Declare("HingeAngle", {"0", "90"}));
  ASSERT_TRUE(bench.Declare("ScreenRotation", {"90"}));
  EXPECT_TRUE(bench.inside.ParseRule(keys, {"0", "90"}, "Hinge"));
  EXPECT_THAT(keys, ElementsAre(CaseKey("Hinge", {1, 0})));
  EXPECT_EQ(bench.engine.indices().size(), 2U);
}

}  // namespace
}  // namespace brelmo::tavi::test
