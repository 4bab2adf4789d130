#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kNoReading = -1;
constexpr int kNone = -1;

// Hinge angle 0 to 90 and 91 to 170 degrees have the index values 0 and 1; rotation 0, 90 and 180
// degrees 0, 1 and 2. The rest has none.
struct TuningBench : EngineBench {
  TuningBench() {
    EXPECT_TRUE(Declare("HingeAngle", {"0", "90"}));
    EXPECT_TRUE(Declare("HingeAngle", {"91", "170"}));
    EXPECT_TRUE(Declare("ScreenRotation", {"0", "90", "180"}));
  }
  // Case n sends {n, 0} to the left.
  void AppendNumberedCases(const std::vector<CaseKeys>& cases) {
    for (const CaseKeys& keys : cases) {
      engine.AppendCase(keys, {MakeOutput(0, {static_cast<float>(engine.cases().size()), 0})});
    }
  }
  // The number of the case sent since the last call; kNone when nothing was.
  int TakeCase() {
    const auto taken = TakeWrites();
    for (size_t i = 0; i < engine.cases().size(); ++i) {
      const Bytes message = ResponseMessage(16, {static_cast<float>(i), 0});
      if (!taken.empty() && taken.back() == message) return static_cast<int>(i);
    }
    EXPECT_THAT(taken, testing::AnyOf(IsEmpty(), ElementsAre(kStatusActive)));
    return kNone;
  }
};

CaseKey Hinge(const std::vector<int>& indices) { return {"HingeAngle", indices}; }
CaseKey Rotation(const std::vector<int>& indices) { return {"ScreenRotation", indices}; }

std::string KeysText(const CaseKeys& keys) { return TelephonySpeakerCompensation::ToString(keys); }

TEST(UpdateTuningData, TakesTheFirstCaseThatFits) {
  const struct {
    std::vector<CaseKeys> cases;
    int angle;
    int rotation;
    int chosen;
  } rows[] = {
      {{{Hinge({0})}}, 0, 0, 0},
      {{{Hinge({0})}}, 90, 270, 0},
      {{{Hinge({0})}}, 91, 0, kNone},
      {{{Hinge({0})}}, kNoReading, 0, kNone},
      {{{Hinge({0})}, {Hinge({1})}}, 170, 0, 1},
      {{{Hinge({0, 1})}}, 171, 0, kNone},
      {{{Rotation({0, 2})}}, kNoReading, 180, 0},
      {{{Rotation({0, 2})}}, kNoReading, 90, kNone},
      {{{Rotation({0, 1, 2})}}, 45, 270, kNone},
      // Every key of a case must fit, in whatever order they stand.
      {{{Hinge({0}), Rotation({1})}, {Hinge({1}), Rotation({0})}}, 100, 0, 1},
      {{{Rotation({1}), Hinge({0})}}, 45, 90, 0},
      {{{Rotation({1}), Hinge({0})}}, 45, 0, kNone},
      {{{Rotation({1}), Hinge({0})}}, 100, 90, kNone},
      // The first in the table, not the most exact.
      {{{Hinge({0, 1})}, {Hinge({0}), Rotation({0})}}, 45, 0, 0},
      {{{Hinge({1})}, {Rotation({0})}, {}}, 45, 0, 1},
      // A case without keys fits any posture that some index knows.
      {{{}}, kNoReading, 0, 0},
      {{{}}, 45, 270, 0},
      {{{}}, kNoReading, 270, kNone},
      {{{}}, 171, 45, kNone},
      {{{CaseKey("Hinge", {0, 1})}, {CaseKey("", {0})}, {Hinge({})}}, 45, 0, kNone},
      {{}, 45, 0, kNone},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    TuningBench bench;
    bench.AppendNumberedCases(row.cases);
    bench.engine.OnSensorValueChanged(row.angle);
    bench.engine.UpdateScreenRotation(row.rotation);
    bench.Activate();
    EXPECT_EQ(bench.TakeCase(), row.chosen);
    const CaseKeys* const previous = bench.engine.previous_case_keys();
    if (row.chosen == kNone) {
      EXPECT_EQ(previous, nullptr);
      EXPECT_THAT(bench.log.Take(),
                  ElementsAre(EngineInfo("UpdateModuleStatus: update tuning with size 12")));
    } else {
      ASSERT_NE(previous, nullptr);
      EXPECT_EQ(*previous, row.cases[row.chosen]);
      EXPECT_THAT(bench.log.Take(),
                  ElementsAre(EngineInfo("UpdateModuleStatus: update tuning with size 12"),
                              EngineInfo("UpdateTuningData: update case keys: " +
                                         KeysText(row.cases[row.chosen])),
                              EngineInfo("UpdateTuningData: update tuning with size 16")));
    }
  }
}

TEST(UpdateTuningData, AlternatesBetweenCasesThatBothFit) {
  const CaseKeys a = {Hinge({0})};
  const CaseKeys b = {Hinge({0, 1})};
  TuningBench bench;
  bench.AppendNumberedCases({a, a, b});  // the second is equal to the first: never its turn
  bench.engine.OnSensorValueChanged(30);
  bench.Activate();
  EXPECT_EQ(bench.TakeCase(), 0);
  bench.log.Take();

  bench.engine.OnSensorValueChanged(40);
  EXPECT_EQ(bench.TakeCase(), 2);
  EXPECT_THAT(bench.log.Take(),
              ElementsAre(EngineInfo("UpdateTuningData: update case keys: previous" + KeysText(a) +
                                     " -> " + KeysText(b)),
                          EngineInfo("UpdateTuningData: update tuning with size 16")));
  bench.engine.OnSensorValueChanged(50);
  EXPECT_EQ(bench.TakeCase(), 0);
}

TEST(UpdateTuningData, TellsKeysApartByOrder) {
  TuningBench bench;
  bench.AppendNumberedCases({{Hinge({0, 1})}, {Hinge({1, 0})}});
  bench.engine.OnSensorValueChanged(30);
  bench.Activate();
  EXPECT_EQ(bench.TakeCase(), 0);
  bench.engine.OnSensorValueChanged(31);
  EXPECT_EQ(bench.TakeCase(), 1);
}

TEST(UpdateTuningData, SendsACaseOnceUntilAnotherFitsOrTheScenarioRestarts) {
  TuningBench bench;
  bench.AppendNumberedCases({{Hinge({0}), Rotation({0})}, {Hinge({1})}});
  bench.engine.OnSensorValueChanged(30);
  bench.Activate();
  EXPECT_EQ(bench.TakeCase(), 0);
  bench.log.Take();

  // Inside the range, to a posture that no case fits, to one that no index knows, and back.
  bench.engine.OnSensorValueChanged(31);
  bench.engine.UpdateScreenRotation(90);
  bench.engine.UpdateScreenRotation(270);
  bench.engine.OnSensorValueChanged(175);
  bench.engine.UpdateScreenRotation(0);
  bench.engine.OnSensorValueChanged(31);
  EXPECT_THAT(bench.TakeWrites(), IsEmpty());
  EXPECT_THAT(bench.log.Take(), IsEmpty());
  EXPECT_NE(bench.engine.previous_case_keys(), nullptr);

  bench.Deactivate();
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusInactive));
  EXPECT_EQ(bench.engine.previous_case_keys(), nullptr);
  bench.log.Take();
  bench.Activate();
  EXPECT_EQ(bench.TakeCase(), 0);
  EXPECT_EQ(bench.log.Take()[1], EngineInfo("UpdateTuningData: update case keys: " +
                                            KeysText(bench.engine.cases()[0].first)));
  bench.engine.OnSensorValueChanged(91);
  EXPECT_EQ(bench.TakeCase(), 1);
}

TEST(UpdateTuningData, DoesNotRepeatAFailedWriteAtTheSamePosture) {
  TuningBench bench;
  bench.AppendNumberedCases({{Hinge({0})}, {Hinge({1})}});
  bench.Activate();
  bench.log.Take();
  bench.accepts = false;
  bench.engine.OnSensorValueChanged(30);
  EXPECT_EQ(bench.log.Take().back(), EngineError("UpdateTuningData: fail to update tuning."));
  bench.accepts = true;
  bench.TakeWrites();

  bench.engine.OnSensorValueChanged(31);
  EXPECT_THAT(bench.TakeWrites(), IsEmpty());
  bench.engine.OnSensorValueChanged(91);
  EXPECT_EQ(bench.TakeCase(), 1);
  bench.engine.OnSensorValueChanged(30);
  EXPECT_EQ(bench.TakeCase(), 0);
}

TEST(UpdateTuningData, FramesTheOutputsOfACase) {
  const std::vector<float> full(514, 0.5F);
  const struct {
    std::vector<CompensationData> outputs;
    Bytes sent;
    std::vector<std::string> log;
  } rows[] = {
      {{MakeOutput(1, {1, 2}), MakeOutput(0, {3, 4, 5, 6})},
       {17, 0, 0, 0, 8, 0, 0,    0,    0, 0, 0x80, 0x3F, 0, 0, 0,    0x40, 16, 0, 0,    0,
        16, 0, 0, 0, 0, 0, 0x40, 0x40, 0, 0, 0x80, 0x40, 0, 0, 0xA0, 0x40, 0,  0, 0xC0, 0x40},
       {EngineInfo("UpdateTuningData: update tuning with size 40")}},
      {{MakeOutput(0, {1, 2, 3}), MakeOutput(1, {4, 5}), MakeOutput(2, {}), MakeOutput(2, {6})},
       ResponseMessage(17, {4, 5}),
       {EngineInfo("UpdateTuningData: update tuning with size 16")}},
      {{}, {}, {EngineWarning("UpdateTuningData: output data is empty")}},
      {{MakeOutput(0, {}), MakeOutput(1, {1, 2, 3})},
       {},
       {EngineWarning("UpdateTuningData: no valid data")}},
      {{MakeOutput(0, {1, 2}), MakeOutput(2, {3, 4}), MakeOutput(1, {5, 6})},
       {},
       {EngineWarning("UpdateTuningData: invalid type"),
        EngineInfo("UpdateTuningData: invalid data 32, 48")}},
      {{MakeOutput(-1, {1, 2})},
       {},
       {EngineWarning("UpdateTuningData: invalid type"),
        EngineInfo("UpdateTuningData: invalid data 0, 16")}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    TuningBench bench;
    bench.engine.AppendCase({Hinge({0})}, row.outputs);
    bench.Activate();
    bench.TakeWrites();
    bench.log.Take();
    bench.engine.OnSensorValueChanged(30);
    EXPECT_THAT(bench.TakeWrites(),
                testing::ElementsAreArray(row.sent.empty() ? std::vector<Bytes>()
                                                           : std::vector<Bytes>{row.sent}));
    const auto log = bench.log.Take();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(std::vector<std::string>(log.begin() + 1, log.end()), row.log);
    // Whatever came of it, the case counts as sent.
    ASSERT_NE(bench.engine.previous_case_keys(), nullptr);
    bench.engine.OnSensorValueChanged(31);
    EXPECT_THAT(bench.log.Take(), IsEmpty());
  }
}

TEST(UpdateTuningData, SendsBothChannelsOfFullSizeInOneWrite) {
  const std::vector<float> full(514, 1.0F);
  TuningBench bench;
  bench.engine.AppendCase({}, {MakeOutput(0, full), MakeOutput(1, full)});
  bench.Activate();
  ASSERT_EQ(bench.writes.size(), 2U);
  const Bytes& sent = bench.writes[1];
  ASSERT_EQ(sent.size(), 4128U);
  EXPECT_EQ(Bytes(sent.begin(), sent.begin() + 8), (Bytes{16, 0, 0, 0, 8, 8, 0, 0}));
  EXPECT_EQ(Bytes(sent.begin() + 2064, sent.begin() + 2072), (Bytes{17, 0, 0, 0, 8, 8, 0, 0}));
  EXPECT_EQ(bench.log.Take().back(), EngineInfo("UpdateTuningData: update tuning with size 4128"));
}

TEST(RequestedTuningParameters, HoldAnIndexValueAtMostOnce) {
  const struct {
    const char* name;
    int value;
    int index;
  } rows[] = {
      {"HingeAngle", 90, 0},      {"HingeAngle", 91, 1},
      {"HingeAngle", -1, kNone},  {"HingeAngle", 171, kNone},
      {"ScreenRotation", 180, 2}, {"ScreenRotation", 270, kNone},
      {"Hinge", 45, kNone},       {"", 0, kNone},
  };
  TuningBench bench;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + std::to_string(row.value));
    TestEngine::TuningParameters parameters;
    bench.engine.BuildRequestedTuningParameters(parameters, row.name, row.value);
    ASSERT_EQ(parameters.end() - parameters.begin(), row.index == kNone ? 0 : 1);
    if (row.index == kNone) continue;
    EXPECT_EQ(parameters.begin()->name, row.name);
    EXPECT_EQ(parameters.begin()->index, row.index);
  }
  EXPECT_THAT(bench.log.Take(), IsEmpty());
}

TEST(IsMatched, TriesEveryParameterForEveryKey) {
  TuningBench bench;
  TestEngine::TuningParameters none;
  EXPECT_TRUE(bench.engine.IsMatched({}, none));
  EXPECT_FALSE(bench.engine.IsMatched({Hinge({0})}, none));

  TestEngine::TuningParameters twice;
  twice.Append({"HingeAngle", 0});
  twice.Append({"HingeAngle", 1});
  EXPECT_TRUE(bench.engine.IsMatched({}, twice));
  EXPECT_TRUE(bench.engine.IsMatched({Hinge({1})}, twice));
  EXPECT_TRUE(bench.engine.IsMatched({Hinge({1}), Hinge({2, 0})}, twice));
  EXPECT_FALSE(bench.engine.IsMatched({Hinge({1}), Hinge({2})}, twice));
  EXPECT_FALSE(bench.engine.IsMatched({Hinge({1}), Rotation({1})}, twice));
}

}  // namespace
}  // namespace brelmo::tavi::test
