#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(EngineScenario, SendsTheStatusBeforeTheCaseEvenIfItFails) {
  EngineBench bench;
  bench.Declare("ScreenRotation", {"0"});
  bench.inside.AppendCase({}, {MakeOutput(0, {1, 0})});
  bench.accepts = false;
  bench.Activate();
  EXPECT_TRUE(bench.engine.IsSupportedScenario());
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusActive, ResponseMessage(16, {1, 0})));
  EXPECT_THAT(bench.log.Take(),
              ElementsAre(EngineError("UpdateModuleStatus: fail to update tuning."),
                          EngineInfo("UpdateTuningData: update case keys: Case Keys : {}"),
                          EngineError("UpdateTuningData: fail to update tuning.")));
}

TEST(EngineScenario, RunsWithoutADeliverer) {
  LogRecorder log;
  TelephonySpeakerCompensation engine(nullptr, {});
  EnginePeer inside(engine);
  CaseKeys ignored;
  ASSERT_TRUE(inside.ParseRule(ignored, {"0"}, "ScreenRotation"));
  inside.AppendCase({}, {MakeOutput(0, {1, 0})});
  engine.AddActiveCommonValue(6);
  engine.AddActiveUsecase(6);
  engine.OnSensorValueChanged(90);
  EXPECT_TRUE(engine.IsSupportedScenario());
  EXPECT_EQ(inside.previous_case_keys(), nullptr);
  EXPECT_THAT(log.Take(), IsEmpty());
}

}  // namespace
}  // namespace brelmo::tavi::test
