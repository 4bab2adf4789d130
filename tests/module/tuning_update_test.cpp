#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::IsEmpty;

CaseKey Hinge(const std::vector<int>& indices) { return {"HingeAngle", indices}; }

std::string Update(const std::string& text) { return EngineInfo("UpdateTuningData: " + text); }

// Outputs that no configuration comes to are left out, too.
TEST(UpdateTuningData, FramesTheOutputsOfACase) {
  const struct {
    std::vector<CompensationData> outputs;
    std::vector<Bytes> messages;  // of the one write; empty without a write
    std::vector<std::string> log;
  } rows[] = {
      {{MakeOutput(1, {1, 2}), MakeOutput(0, {3, 4, 5, 6})},
       {ResponseMessage(17, {1, 2}), ResponseMessage(16, {3, 4, 5, 6})},
       {Update("update tuning with size 40")}},
      {{MakeOutput(0, {1, 2, 3}), MakeOutput(1, {4, 5}), MakeOutput(2, {}), MakeOutput(2, {6})},
       {ResponseMessage(17, {4, 5})},
       {Update("update tuning with size 16")}},
      {{}, {}, {EngineWarning("UpdateTuningData: output data is empty")}},
      {{MakeOutput(0, {}), MakeOutput(1, {1, 2, 3})},
       {},
       {EngineWarning("UpdateTuningData: no valid data")}},
      {{MakeOutput(0, {1, 2}), MakeOutput(2, {3, 4}), MakeOutput(1, {5, 6})},
       {},
       {EngineWarning("UpdateTuningData: invalid type"), Update("invalid data 32, 48")}},
      {{MakeOutput(-1, {1, 2})},
       {},
       {EngineWarning("UpdateTuningData: invalid type"), Update("invalid data 0, 16")}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    EngineBench bench;
    bench.Declare("HingeAngle", {"0", "90"});
    bench.inside.AppendCase({Hinge({0})}, row.outputs);
    bench.Activate();
    bench.TakeWrites();
    bench.log.Take();
    bench.engine.OnSensorValueChanged(30);
    Bytes sent;
    for (const Bytes& message : row.messages) {
      sent.insert(sent.end(), message.begin(), message.end());
    }
    EXPECT_EQ(bench.TakeWrites(), std::vector<Bytes>(sent.empty() ? 0 : 1, sent));
    const auto log = bench.log.Take();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(std::vector<std::string>(log.begin() + 1, log.end()), row.log);
    // Whatever came of it, the case counts as sent.
    EXPECT_NE(bench.inside.previous_case_keys(), nullptr);
    bench.engine.OnSensorValueChanged(31);
    EXPECT_THAT(bench.log.Take(), IsEmpty());
  }
}

TEST(IsMatched, TriesEveryParameterForEveryKey) {
  const EngineBench bench;
  EnginePeer::TuningParameters parameters;
  EXPECT_TRUE(bench.inside.IsMatched({}, parameters));
  EXPECT_FALSE(bench.inside.IsMatched({Hinge({0})}, parameters));
  parameters.push_back({"HingeAngle", 0});
  parameters.push_back({"HingeAngle", 1});
  EXPECT_TRUE(bench.inside.IsMatched({}, parameters));
  EXPECT_TRUE(bench.inside.IsMatched({Hinge({1}), Hinge({2, 0})}, parameters));
  EXPECT_FALSE(bench.inside.IsMatched({Hinge({1}), Hinge({2})}, parameters));
}

TEST(IsMatched, TellsNamesApart) {
  const EngineBench bench;
  EnginePeer::TuningParameters parameters;
  parameters.push_back({"Light", 0});
  parameters.push_back({"HingeAngle", 1});
  EXPECT_TRUE(bench.inside.IsMatched({{"Light", {0}}, Hinge({1})}, parameters));
  for (const char* const name : {"Noise", "light", "ScreenRotation"}) {
    EXPECT_FALSE(bench.inside.IsMatched({{name, {0, 1}}}, parameters)) << name;
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
