#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kStatusSent = EngineInfo("UpdateModuleStatus: update tuning with size 12");

// Two cases that fit every posture: while the scenario is active, each tuning update sends one of
// them by turns, so the writes count the updates.
struct CountingBench : EngineBench {
  CountingBench() {
    EXPECT_TRUE(Declare("ScreenRotation", {"0", "90", "180", "270"}));
    EXPECT_TRUE(Declare("HingeAngle", {"0", "180"}));
    engine.AppendCase({}, {MakeOutput(0, {1, 0})});
    engine.AppendCase({CaseKey("ScreenRotation", {0, 1, 2, 3})}, {MakeOutput(0, {2, 0})});
  }
};

TEST(EngineScenario, FollowsUseCasesAndCommonValues) {
  using Engine = TelephonySpeakerCompensation;
  const struct {
    void (Engine::*change)(uint32_t);
    uint32_t value;
    bool active;  // afterwards
  } steps[] = {
      {&Engine::RemoveActiveUsecase, 6, false},
      {&Engine::RemoveActiveCommonValue, 5, false},
      {&Engine::AddActiveCommonValue, 5, false},
      {&Engine::AddActiveUsecase, 0, true},  // which use case does not matter
      {&Engine::AddActiveUsecase, 0, true},
      {&Engine::AddActiveCommonValue, 5, true},
      {&Engine::RemoveActiveUsecase, 0, false},  // added twice, there once
      {&Engine::AddActiveUsecase, 23, true},
      {&Engine::AddActiveUsecase, 24, true},
      {&Engine::RemoveActiveUsecase, 23, true},
      {&Engine::RemoveActiveUsecase, 6, true},
      {&Engine::RemoveActiveCommonValue, 5, false},
      {&Engine::AddActiveCommonValue, 4, false},
      {&Engine::AddActiveCommonValue, 7, false},
      {&Engine::AddActiveCommonValue, 0, false},
      {&Engine::AddActiveCommonValue, 0xFFFFFFFF, false},
      {&Engine::AddActiveCommonValue, 6, true},
      {&Engine::AddActiveCommonValue, 5, true},
      {&Engine::RemoveActiveCommonValue, 6, true},
      {&Engine::RemoveActiveCommonValue, 7, true},
      {&Engine::RemoveActiveCommonValue, 5, false},
      {&Engine::AddActiveCommonValue, 6, true},
      {&Engine::RemoveActiveUsecase, 24, false},
      {&Engine::AddActiveUsecase, 24, true},
  };
  EngineBench bench;
  bool active = false;
  for (const auto& step : steps) {
    SCOPED_TRACE(&step - steps);
    (bench.engine.*step.change)(step.value);
    EXPECT_EQ(bench.engine.IsSupportedScenario(), step.active);
    if (step.active == active) {
      EXPECT_THAT(bench.TakeWrites(), IsEmpty());
      EXPECT_THAT(bench.log.Take(), IsEmpty());
    } else {
      EXPECT_THAT(bench.TakeWrites(), ElementsAre(step.active ? kStatusActive : kStatusInactive));
      EXPECT_THAT(bench.log.Take(), ElementsAre(kStatusSent));
    }
    active = step.active;
  }
}

TEST(EngineScenario, SendsTheStatusBeforeTheCase) {
  CountingBench bench;
  bench.Activate();
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusActive, ResponseMessage(16, {1, 0})));
  // Changes that leave the scenario as it is cause no update.
  bench.engine.AddActiveUsecase(23);
  bench.engine.AddActiveUsecase(23);
  bench.engine.RemoveActiveCommonValue(77);
  EXPECT_THAT(bench.TakeWrites(), IsEmpty());
  bench.engine.RemoveActiveCommonValue(5);
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusInactive));
}

TEST(EngineScenario, GoesOnAfterAFailedStatus) {
  CountingBench bench;
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
  TestEngine engine(nullptr);
  CaseKeys ignored;
  ASSERT_TRUE(engine.ParseRule(ignored, {"0"}, "ScreenRotation"));
  engine.AppendCase({}, {MakeOutput(0, {1, 0})});
  engine.AddActiveCommonValue(6);
  engine.AddActiveUsecase(6);
  EXPECT_TRUE(engine.IsSupportedScenario());
  engine.OnSensorValueChanged(90);
  EXPECT_EQ(engine.previous_case_keys(), nullptr);
  engine.RemoveActiveUsecase(6);
  EXPECT_FALSE(engine.IsSupportedScenario());
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(EnginePosture, UpdatesOncePerChange) {
  using Engine = TelephonySpeakerCompensation;
  const struct {
    void (Engine::*change)(int);
    int value;
    bool updates;
  } steps[] = {
      {&Engine::UpdateScreenRotation, 0, false},  // where it starts
      {&Engine::UpdateScreenRotation, 90, true},
      {&Engine::UpdateScreenRotation, 90, false},
      {&Engine::OnSensorValueChanged, -1, false},
      {&Engine::OnSensorValueChanged, 0, true},  // the first reading
      {&Engine::OnSensorValueChanged, 0, false},
      {&Engine::OnSensorValueChanged, 180, true},
      {&Engine::OnSensorValueChanged, 181, false},
      {&Engine::OnSensorValueChanged, -1, false},
      {&Engine::OnSensorValueChanged, -2147483647 - 1, false},
      {&Engine::OnSensorValueChanged, 2147483647, false},
      {&Engine::OnSensorValueChanged, 180, false},  // refused readings are not stored
      {&Engine::OnSensorValueChanged, 179, true},
      {&Engine::UpdateScreenRotation, 270, true},
      {&Engine::UpdateScreenRotation, 0, true},
      {&Engine::UpdateScreenRotation, -90, true},  // any value is taken; the hinge still fits
  };
  CountingBench bench;
  bench.Activate();
  bench.TakeWrites();
  for (const auto& step : steps) {
    SCOPED_TRACE(&step - steps);
    (bench.engine.*step.change)(step.value);
    EXPECT_EQ(bench.TakeWrites().size(), step.updates ? 1U : 0U);
  }
}

TEST(EnginePosture, IsFollowedWhileTheScenarioIsInactive) {
  EngineBench bench;
  ASSERT_TRUE(bench.Declare("HingeAngle", {"0", "90"}));
  ASSERT_TRUE(bench.Declare("ScreenRotation", {"180"}));
  bench.engine.AppendCase({CaseKey("HingeAngle", {0}), CaseKey("ScreenRotation", {0})},
                          {MakeOutput(1, {3, 4})});
  bench.engine.OnSensorValueChanged(45);
  bench.engine.UpdateScreenRotation(180);
  EXPECT_THAT(bench.TakeWrites(), IsEmpty());
  EXPECT_THAT(bench.log.Take(), IsEmpty());
  bench.Activate();
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusActive, ResponseMessage(17, {3, 4})));
}

}  // namespace
}  // namespace brelmo::tavi::test
