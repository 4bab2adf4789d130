#include <gmock/gmock.h>

#include "log_recorder.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using audio::compensation::TelephonySpeakerCompensation;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(GetConfig, ReadsCases) {
  const struct {
    const char* text;
    std::vector<CaseConfig> cases;
  } rows[] = {
      {"", {}},
      {"   ", {}},
      {"a:1|b:2  c:3", {{{}, {{"a", "1"}, {"b", "2"}}}, {{}, {{"c", "3"}}}}},
      {" |a:1||b:2| ", {{{}, {{"a", "1"}, {"b", "2"}}}}},
      {"name::value", {{{}, {{"name", "value"}}}}},
      {":name:value", {{{}, {{"name", "value"}}}}},
      {"name:value:", {{{}, {{"name", "value"}}}}},
      {"|||", {{{}, {}}}},
      {"||| a:1", {{{}, {}}, {{}, {{"a", "1"}}}}},
      // The first value of a name wins, in outputs and in conditions.
      {"LeftChannel:x|LeftChannel:y", {{{{"LeftChannel", "x"}}, {}}}},
      {"RightChannel:x|a:1|RightChannel:y|a:2", {{{{"RightChannel", "x"}}, {{"a", "1"}}}}},
      {"leftchannel:a|LeftChannels:b|rightChannel:c",
       {{{}, {{"leftchannel", "a"}, {"LeftChannels", "b"}, {"rightChannel", "c"}}}}},
      // Only the blank separates cases; nothing is trimmed.
      {"HingeAngle:1|RightChannel:z\n", {{{{"RightChannel", "z\n"}}, {{"HingeAngle", "1"}}}}},
      {"a\t:\t1\r\n|\vb:2", {{{}, {{"a\t", "\t1\r\n"}, {"\vb", "2"}}}}},
      {"HingeAngle:0,90|ScreenRotation:0,180|LeftChannel:l.txt|RightChannel:r.txt "
       "RightChannel:r2.txt|LeftChannel:l2.txt|ScreenRotation:90,270|HingeAngle:91,180",
       {{{{"LeftChannel", "l.txt"}, {"RightChannel", "r.txt"}},
         {{"HingeAngle", "0,90"}, {"ScreenRotation", "0,180"}}},
        {{{"LeftChannel", "l2.txt"}, {"RightChannel", "r2.txt"}},
         {{"HingeAngle", "91,180"}, {"ScreenRotation", "90,270"}}}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    LogRecorder log;
    const CompensationConfig config = TelephonySpeakerCompensation::GetConfig(row.text);
    EXPECT_EQ(config.name, "TelephonySpeakerCompensation");
    ASSERT_EQ(config.cases.size(), row.cases.size());
    for (size_t i = 0; i < row.cases.size(); ++i) {
      EXPECT_EQ(config.cases[i].outputs, row.cases[i].outputs) << "case " << i;
      EXPECT_EQ(config.cases[i].conditions, row.cases[i].conditions) << "case " << i;
    }
    EXPECT_THAT(log.Take(), IsEmpty());
  }
}

TEST(GetConfig, StopsAtAMalformedItem) {
  const struct {
    const char* text;
    size_t case_count;  // of the cases before the malformed item's
    std::string item;
  } rows[] = {
      {"HingeAngle:1 bad RightChannel:z", 1, "bad"},
      {"name", 0, "name"},
      {"name:", 0, "name:"},
      {":value", 0, ":value"},
      {"::", 0, "::"},
      {"a:b:c", 0, "a:b:c"},
      {"a:1\tb:2", 0, "a:1\tb:2"},
      {"a:1 b:2 c:3|x::y:z|d:4 e:5 worse", 2, "x::y:z"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    LogRecorder log;
    EXPECT_EQ(TelephonySpeakerCompensation::GetConfig(row.text).cases.size(), row.case_count);
    EXPECT_THAT(log.Take(),
                ElementsAre(EngineWarning("GetConfiginvalid name and value " + row.item)));
  }
}

TEST(CaseConfig, ToString) {
  EXPECT_EQ(CaseConfig().ToString(), "Outputs: {}, Conditions: {}");
  EXPECT_EQ((CaseConfig{{{"LeftChannel", "a"}}, {{"HingeAngle", "1"}}}).ToString(),
            "Outputs: {(LeftChannel, a) }, Conditions: {(HingeAngle, 1) }");
  EXPECT_THAT((CaseConfig{{{"LeftChannel", "a"}, {"RightChannel", "b"}}, {}}).ToString(),
              AnyOf("Outputs: {(LeftChannel, a) (RightChannel, b) }, Conditions: {}",
                    "Outputs: {(RightChannel, b) (LeftChannel, a) }, Conditions: {}"));
}

}  // namespace
}  // namespace brelmo::tavi::test
