#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kNoReading = -1;
constexpr int kNone = -1;

// Hinge angle 0 to 90 and 91 to 170 degrees have the index values 0 and 1; rotation 0, 90 and 180
// degrees 0, 1 and 2. The rest has none. Case n sends {n, 0} to the left.
struct TuningBench : EngineBench {
  explicit TuningBench(const std::vector<CaseKeys>& cases) {
    EXPECT_TRUE(Declare("HingeAngle", {"0", "90"}));
    EXPECT_TRUE(Declare("HingeAngle", {"91", "170"}));
    EXPECT_TRUE(Declare("ScreenRotation", {"0", "90", "180"}));
    for (const CaseKeys& keys : cases) {
      inside.AppendCase(keys, {MakeOutput(0, {static_cast<float>(engine.cases().size()), 0})});
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

std::string Update(const std::string& text) { return EngineInfo("UpdateTuningData: " + text); }
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
    TuningBench bench(row.cases);
    // A posture taken while the scenario is inactive counts once it is active.
    bench.engine.OnSensorValueChanged(row.angle);
    bench.engine.UpdateScreenRotation(row.rotation);
    EXPECT_THAT(bench.writes, IsEmpty());
    bench.Activate();
    EXPECT_EQ(bench.TakeCase(), row.chosen);

    std::vector<std::string> log = {EngineInfo("UpdateModuleStatus: update tuning with size 12")};
    const CaseKeys* const previous = bench.inside.previous_case_keys();
    ASSERT_EQ(previous == nullptr, row.chosen == kNone);
    if (previous != nullptr) {
      EXPECT_EQ(*previous, row.cases[row.chosen]);
      log.push_back(Update("update case keys: " + KeysText(*previous)));
      log.push_back(Update("update tuning with size 16"));
    }
    EXPECT_EQ(bench.log.Take(), log);
  }
}

TEST(UpdateTuningData, AlternatesBetweenCasesThatBothFit) {
  const CaseKeys a = {Hinge({0, 1})};
  const CaseKeys b = {Hinge({1, 0})};  // differs by order
  TuningBench bench({a, a, b});        // the second equals the first: it never has a turn
  bench.engine.OnSensorValueChanged(30);
  bench.Activate();
  EXPECT_EQ(bench.TakeCase(), 0);
  bench.log.Take();

  bench.engine.OnSensorValueChanged(40);
  EXPECT_EQ(bench.TakeCase(), 2);
  EXPECT_THAT(bench.log.Take(),
              ElementsAre(Update("update case keys: previous" + KeysText(a) + " -> " + KeysText(b)),
                          Update("update tuning with size 16")));
  bench.engine.OnSensorValueChanged(50);
  EXPECT_EQ(bench.TakeCase(), 0);
}

TEST(UpdateTuningData, SendsACaseOnceUntilAnotherFitsOrTheScenarioRestarts) {
  TuningBench bench({{Hinge({0}), Rotation({0})}, {Hinge({1})}});
  bench.Activate();
  // A failed write counts as sent.
  bench.accepts = false;
  bench.engine.OnSensorValueChanged(30);
  EXPECT_EQ(bench.TakeCase(), 0);
  EXPECT_THAT(bench.log.Take(), Contains(EngineError("UpdateTuningData: fail to update tuning.")));
  bench.accepts = true;

  // Inside the range, to a posture that no case fits, to one that no index knows, and back.
  bench.engine.OnSensorValueChanged(31);
  bench.engine.UpdateScreenRotation(90);
  bench.engine.UpdateScreenRotation(270);
  bench.engine.OnSensorValueChanged(175);
  bench.engine.UpdateScreenRotation(0);
  bench.engine.OnSensorValueChanged(31);
  EXPECT_THAT(bench.TakeWrites(), IsEmpty());
  EXPECT_THAT(bench.log.Take(), IsEmpty());

  bench.Deactivate();
  EXPECT_THAT(bench.TakeWrites(), ElementsAre(kStatusInactive));
  EXPECT_EQ(bench.inside.previous_case_keys(), nullptr);
  bench.log.Take();
  bench.Activate();
  EXPECT_EQ(bench.TakeCase(), 0);
  EXPECT_THAT(bench.log.Take(),
              Contains(Update("update case keys: " + KeysText(bench.engine.cases()[0].first))));
  bench.engine.OnSensorValueChanged(91);
  EXPECT_EQ(bench.TakeCase(), 1);
}

TEST(UpdateTuningData, FramesTheOutputsOfACase) {
  const std::vector<float> full(514, 0.5F);
  const struct {
    std::vector<CompensationData> outputs;
    std::vector<Bytes> messages;  // of the one write; none for no write
    std::vector<std::string> log;
  } rows[] = {
      {{MakeOutput(1, {1, 2}), MakeOutput(0, {3, 4, 5, 6})},
       {ResponseMessage(17, {1, 2}), ResponseMessage(16, {3, 4, 5, 6})},
       {Update("update tuning with size 40")}},
      {{MakeOutput(0, full), MakeOutput(1, full)},
       {ResponseMessage(16, full), ResponseMessage(17, full)},
       {Update("update tuning with size 4128")}},
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
    TuningBench bench({});
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
  const TuningBench bench({});
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
  const TuningBench bench({});
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
