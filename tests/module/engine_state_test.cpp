#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Engine = TelephonySpeakerCompensation;

// Two cases that fit any of these postures: while the scenario is active, each tuning update sends
// one of them by turns, so the writes count the updates.
struct CountingBench : EngineBench {
  CountingBench() {
    Declare("ScreenRotation", {"0", "90", "180", "270"});
    Declare("HingeAngle", {"0", "180"});
    inside.AppendCase({}, {MakeOutput(0, {1, 0})});
    inside.AppendCase({CaseKey("ScreenRotation", {0, 1, 2, 3})}, {MakeOutput(0, {2, 0})});
  }
};

TEST(EngineScenario, FollowsUseCasesAndCommonValues) {
  const auto start = &Engine::AddActiveUsecase;
  const auto stop = &Engine::RemoveActiveUsecase;
  const auto announce = &Engine::AddActiveCommonValue;
  const auto withdraw = &Engine::RemoveActiveCommonValue;
  const struct {
    void (Engine::*change)(uint32_t);
    uint32_t value;
    bool active;  // afterwards
  } steps[] = {
      {stop, 6, false},     {withdraw, 5, false}, {announce, 5, false},
      {start, 0, true},  // which use case does not matter
      {start, 0, true},     {announce, 5, true},  {stop, 0, false},  // started twice, there once
      {start, 23, true},    {start, 24, true},    {stop, 23, true},
      {stop, 6, true},      {withdraw, 5, false}, {announce, 4, false},
      {announce, 7, false}, {announce, 0, false}, {announce, ~0U, false},
      {announce, 6, true},  {announce, 5, true},  {withdraw, 6, true},
      {withdraw, 7, true},  {withdraw, 5, false}, {announce, 6, true},
      {stop, 24, false},    {start, 24, true},
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
      EXPECT_THAT(bench.log.Take(),
                  ElementsAre(EngineInfo("UpdateModuleStatus: update tuning with size 12")));
    }
    active = step.active;
  }
}

TEST(EngineScenario, SendsTheStatusBeforeTheCaseEvenIfItFails) {
  CountingBench bench;
  bench.accepts = false;
  bench.Activate();
  EXPECT_TRUE(bench.engine.IsSupportedScenario());
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusActive, ResponseMessage(16, {1, 0})));
  EXPECT_THAT(bench.log.Take(),
              ElementsAre(EngineError("UpdateModuleStatus: fail to update tuning."),
                          EngineInfo("UpdateTuningData: update case keys: Case Keys : {}"),
                          EngineError("UpdateTuningData: fail to update tuning.")));
  // Changes that leave the scenario as it is cause no update.
  bench.engine.AddActiveUsecase(23);
  bench.engine.RemoveActiveUsecase(24);
  bench.engine.RemoveActiveCommonValue(77);
  EXPECT_THAT(bench.TakeWrites(), IsEmpty());
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

TEST(EnginePosture, UpdatesOncePerChange) {
  const auto rotate = &Engine::UpdateScreenRotation;
  const auto bend = &Engine::OnSensorValueChanged;
  const struct {
    void (Engine::*change)(int);
    int value;
    bool updates;
  } steps[] = {
      {rotate, 0, false},  // where it starts
      {rotate, 90, true},
      {rotate, 90, false},
      {bend, -1, false},
      {bend, 0, true},  // the first reading
      {bend, 0, false},
      {bend, 180, true},
      {bend, 181, false},
      {bend, -1, false},
      {bend, -2147483647 - 1, false},
      {bend, 2147483647, false},
      {bend, 180, false},  // refused readings are not stored
      {bend, 179, true},
      {rotate, 0, true},
      {rotate, -90, true},  // any value is taken; the hinge angle still fits
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

}  // namespace
}  // namespace brelmo::tavi::test
