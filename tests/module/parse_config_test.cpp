#include <gmock/gmock.h>

#include "data_folder.h"
#include "process/scratch_folder.h"
#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::CaseConfig;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::string kOutputs = "|LeftChannel:left.txt|RightChannel:right.txt";

std::vector<std::string> OutputTexts(const std::vector<CompensationData>& outputs) {
  std::vector<std::string> texts;
  for (const CompensationData& output : outputs) {
    texts.push_back(std::to_string(output.type) + " " + output.file_name + " " +
                    testing::PrintToString(output.raw_data));
  }
  return texts;
}

TEST(CaseConfig, ToString) {
  EXPECT_EQ(CaseConfig().ToString(), "Outputs: {}, Conditions: {}");
  EXPECT_EQ((CaseConfig{{{"LeftChannel", "a"}}, {{"HingeAngle", "1"}}}).ToString(),
            "Outputs: {(LeftChannel, a) }, Conditions: {(HingeAngle, 1) }");
}

class ParseConfigTest : public testing::Test {
 protected:
  ParseConfigTest() {
    files_.Write("left.txt", "1,2\n");
    files_.Write("right.txt", "3,4\n5,6\n");
    files_.Write("half.txt", "7,8\nbroken\n");
  }

  tools::ScratchFolder files_{testing::TempDir()};
  simulator::DataFolder folder_{files_.path()};
};

TEST_F(ParseConfigTest, FillsTheCaseTable) {
  EngineBench bench("HingeAngle:0,,90|ScreenRotation:0,180" + kOutputs +
                    " RightChannel:left.txt|LeftChannel:right.txt|ScreenRotation:90|HingeAngle:"
                    "91,180");
  EXPECT_THAT(bench.log.Take(), IsEmpty());
  EXPECT_TRUE(bench.engine.is_valid());
  EXPECT_EQ(bench.engine.indices().size(), 2U);
  const auto& cases = bench.engine.cases();
  ASSERT_EQ(cases.size(), 2U);
  EXPECT_THAT(cases[0].first,
              UnorderedElementsAre(CaseKey("HingeAngle", {0}), CaseKey("ScreenRotation", {0, 1})));
  EXPECT_THAT(OutputTexts(cases[0].second),
              UnorderedElementsAre("0 left.txt { 1, 2 }", "1 right.txt { 3, 4, 5, 6 }"));
  EXPECT_THAT(cases[1].first,
              UnorderedElementsAre(CaseKey("HingeAngle", {1}), CaseKey("ScreenRotation", {2})));
  EXPECT_THAT(OutputTexts(cases[1].second),
              UnorderedElementsAre("0 right.txt { 3, 4, 5, 6 }", "1 left.txt { 1, 2 }"));
}

TEST_F(ParseConfigTest, KeepsTheCasesBeforeTheFirstBadOne) {
  const std::string good = "HingeAngle:0,90" + kOutputs;
  const struct {
    std::string bad;
    std::vector<std::string> log;
  } rows[] = {
      {"HingeAngle:0,90|ScreenRotation:0|LeftChannel:absent.txt|RightChannel:absent.txt",
       {EngineError("ParseConfig: invalid parm size, current:1, failed: 2")}},
      {"LeftChannel:left.txt|RightChannel:right.txt",
       {EngineError("ParseConfig: invalid parm size, current:1, failed: 0")}},
      {"HingeAngle:0,90|RightChannel:absent.txt",
       {EngineError("ParseConfig: output LeftChannel is missed.")}},
      {"HingeAngle:0,90|LeftChannel:absent.txt",
       {EngineError("ParseConfig: output RightChannel is missed.")}},
      {"HingeAngle:0,90", {EngineError("ParseConfig: output LeftChannel is missed.")}},
      {"hingeangle:0,90" + kOutputs,
       {EngineError("ParseConfig: invalid condition name hingeangle")}},
      {"HingeAngle:,x," + kOutputs, {EngineError("ParseRule: invalid rule data name x")}},
      {"HingeAngle:,," + kOutputs, {EngineError("ParseRule: null rule data for name HingeAngle")}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bad);
    EngineBench bench(good + " " + row.bad + " " + good);
    EXPECT_FALSE(bench.engine.is_valid());
    EXPECT_EQ(bench.log.Take(), row.log);
    ASSERT_EQ(bench.engine.cases().size(), 1U);
    EXPECT_THAT(bench.engine.cases()[0].first, ElementsAre(CaseKey("HingeAngle", {0})));
    // What was accepted works.
    bench.Activate();
    bench.engine.OnSensorValueChanged(45);
    EXPECT_EQ(bench.writes.size(), 2U);
  }
}

TEST_F(ParseConfigTest, AcceptsNothingOfAnUnusableConfiguration) {
  const auto good = TelephonySpeakerCompensation::GetConfig("HingeAngle:0,90" + kOutputs);
  const auto unconditional = TelephonySpeakerCompensation::GetConfig(
      "LeftChannel:left.txt|RightChannel:absent.txt HingeAngle:0,90" + kOutputs);
  CompensationConfig three_outputs = good;  // not to be had from a text
  three_outputs.cases[0].outputs.emplace("x", "left.txt");
  const struct {
    CompensationConfig config;
    std::vector<std::string> log;
  } rows[] = {
      {{"", good.cases}, {}},
      {{"TelephonySpeakerCompensation", {}}, {}},
      {{"Other", {}}, {}},
      {{"Other", good.cases}, {EngineError("ParseConfig: invalid config name Other")}},
      {three_outputs, {EngineError("ParseOutput: invalid output value size: 3")}},
      // Its files are read before the conditions are missed.
      {unconditional,
       {EngineError("ParseQuantityFromFile: read failed"),
        EngineInfo("SetRawData: set raw data size 514"),
        EngineError("ParseConfig: invalid case " + unconditional.cases[0].ToString())}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    LogRecorder log;
    const TelephonySpeakerCompensation engine(nullptr, row.config);
    EXPECT_FALSE(engine.is_valid());
    EXPECT_THAT(engine.cases(), IsEmpty());
    EXPECT_EQ(log.Take(), row.log);
  }
}

TEST_F(ParseConfigTest, OutputsWithUnusableFilesAreFlat) {
  CompensationData flat = MakeOutput(0, {});
  for (int bin = 0; bin < 257; ++bin) flat.raw_data.insert(flat.raw_data.end(), {1, 0});
  const std::pair<const char*, const char*> rows[] = {
      {"absent.txt", "ParseQuantityFromFile: read failed"},
      {"half.txt", "ParseQuantityFromFile: invalid content broken"}};
  for (const auto& [name, message] : rows) {
    EngineBench bench;
    std::vector<CompensationData> data(1);  // what is there stays
    EXPECT_TRUE(
        bench.inside.ParseOutput(data, {{"LeftChannel", name}, {"RightChannel", "right.txt"}}));
    EXPECT_THAT(bench.log.Take(),
                ElementsAre(EngineError(message), EngineInfo("SetRawData: set raw data size 514")));
    EXPECT_THAT(OutputTexts(data), UnorderedElementsAre("-1  {}", OutputTexts({flat})[0],
                                                        "1 right.txt { 3, 4, 5, 6 }"));
  }
}

TEST_F(ParseConfigTest, OutputsAreTheTwoChannels) {
  const struct {
    std::unordered_map<std::string, std::string> outputs;
    const char* message;
  } rows[] = {
      {{}, "ParseOutput: invalid output value size: 0"},
      {{{"LeftChannel", "left.txt"}, {"RightChannel", "right.txt"}, {"x", "left.txt"}},
       "ParseOutput: invalid output value size: 3"},
      {{{"LeftChannel", "left.txt"}, {"Rightchannel", "right.txt"}},
       "ParseOutput: invalid output value type "},
  };
  for (const auto& row : rows) {
    EngineBench bench;
    std::vector<CompensationData> data;
    EXPECT_FALSE(bench.inside.ParseOutput(data, row.outputs));
    EXPECT_THAT(bench.log.Take(), ElementsAre(EngineError(row.message)));
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
