// When the supported scenario starts and stops, and what the event handlers say and ignore.
#include <map>

#include "contract_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

// No case fits before the first hinge reading: what is written is the status alone.
constexpr const char* kConfig = "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt";

struct ScenarioCase {
  const char* name;
  // What happens, in the words of the functions that make events; a plus or a minus behind says
  // that the scenario starts or stops because of it.
  const char* script;
};

HostEvent Parse(const std::string& kind, const std::string& value) {
  static const std::map<std::string, HostEvent> kinds = {
      {"announce", Announce(0)}, {"withdraw", Withdraw(0)}, {"start", Start(0)},
      {"stop", Stop(0)},         {"rotate", Rotate(0)},
  };
  // Raw: the handlers take any use case; it is the host that knows which were asked for.
  HostEvent event = Raw(kinds.at(kind));
  event.value.reset();
  if (value != "null") event.value = std::stoi(value);
  return event;
}

class ScenarioTest : public ContractTest, public testing::WithParamInterface<ScenarioCase> {};

TEST_P(ScenarioTest, Switches) {
  Init(kConfig);
  bool is_active = false;
  std::istringstream script(GetParam().script);
  for (std::string step; std::getline(script, step, ';');) {
    SCOPED_TRACE(step);
    std::istringstream words(step);
    std::string kind, value, change;
    words >> kind >> value >> change;
    if (!change.empty()) is_active = change == "+";
    EXPECT_THAT(After(Parse(kind, value)),
                ElementsAreArray(change.empty() ? Lines() : Status(is_active)));
    EXPECT_THAT(host_.Dump().value(), HasSubstr(is_active ? "Active:true\n" : "Active:false\n"));
  }
}

// For the name of the test.
void PrintTo(const ScenarioCase& row, std::ostream* out) { *out << row.name; }

const ScenarioCase kScenarios[] = {
    {"CommonValueFirst",
     "announce 5; start 6 +; start 23; stop 6; stop 23 -; start 24 +; withdraw 5 -"},
    {"UsecaseFirst",
     "start 24; announce 6 +; announce 5; withdraw 6; withdraw 5 -; stop 24; announce 5"},
    {"OtherCommonValues",
     "start 6; announce 4; announce 7; announce 0; announce -1; announce -2147483643; "
     "announce 5 +; withdraw 4; withdraw 5 -"},
    {"OnceHoweverOften",
     "announce 5; announce 5; start 6 +; start 6; stop 6 -; start 6 +; withdraw 5 -; announce 6 +"},
    {"UnknownWithdrawn",
     "withdraw 5; stop 6; announce 5; start 6 +; withdraw 6; stop 23; withdraw 5 -"},
    {"AnyUsecase", "announce 5; start 0 +; start -1; stop 0; stop -1 -"},
    {"NoPayload",
     "announce 5; start null; start 6 +; stop null; withdraw null; rotate null; withdraw 5 -; "
     "announce null"},
};

INSTANTIATE_TEST_SUITE_P(, ScenarioTest, testing::ValuesIn(kScenarios),
                         [](const auto& info) { return std::string(info.param.name); });

class HandlerTest : public ContractTest {
 protected:
  HandlerTest() { Init(kConfig); }
};

TEST_F(HandlerTest, StatusBytes) {
  After(Announce(5));
  After(Start(6));
  After(Stop(6));
  std::vector<std::vector<unsigned char>> bytes;
  for (const auto& write : recorder_.TakeWrites()) bytes.push_back(write.bytes);
  EXPECT_THAT(bytes, ElementsAre(ElementsAre(0, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0),
                                 ElementsAre(0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0)));
}

TEST_F(HandlerTest, StateSurvivesARefusedStatus) {
  After(Announce(5));
  for (const int code : {-5, 1}) {
    host_.dsp().RefuseNext(1, code);
    EXPECT_THAT(After(Start(6)), ElementsAreArray(Status(true, code)));
    EXPECT_THAT(After(Start(23)), IsEmpty());
    EXPECT_THAT(After(Stop(6)), IsEmpty());
    EXPECT_THAT(After(Stop(23)), ElementsAreArray(Status(false)));
  }
  host_.SetTuningEntry(false);
  EXPECT_THAT(After(Start(6)),
              ElementsAre(EngineError("UpdateModuleStatus: fail to update tuning.")));
  host_.SetTuningEntry(true);
  EXPECT_THAT(After(Stop(6)), ElementsAreArray(Status(false)));
}

TEST_F(HandlerTest, UnsupportedEvents) {
  for (const int number : {0, 1, 3, 5, 7, 9, 21, 22, -2}) {
    const std::string text = std::to_string(number);
    EXPECT_THAT(
        After(Raw(Common(number, 5))),
        ElementsAre(EntryInfo("audio_hw_compensation: common event : unsupported event " + text)));
    EXPECT_THAT(After(Raw(Common(number, {}))), testing::SizeIs(1));
  }
  for (const int number : {0, 2, 4, 8, 20, 23, -21}) {
    EXPECT_THAT(After(Raw(Usecase(number, 6))),
                ElementsAre(EntryLog(android::base::WARNING,
                                     "audio_hw_compensation: use case event: unsupported event " +
                                         std::to_string(number))));
    EXPECT_THAT(After(Raw(Usecase(number, {}))), testing::SizeIs(1));
  }
  // None of them counted as a value or a use case.
  EXPECT_THAT(After(Announce(5)), IsEmpty());
  EXPECT_THAT(After(Withdraw(5)), IsEmpty());
  EXPECT_THAT(After(Start(6)), IsEmpty());
}

TEST_F(HandlerTest, NullCookie) {
  const auto to = host_.registration();
  int32_t value = 5;
  for (const int number : {2, 4, 8, 3}) to.common_handler(number, &value, nullptr);
  for (const int number : {21, 22, 3}) to.usecase_handler(number, nullptr, &value, nullptr);
  EXPECT_EQ(to.hinge_angle_callback(30, nullptr), 0);
  EXPECT_THAT(recorder_.TakeLines(), IsEmpty());
}

}  // namespace
}  // namespace brelmo::tavi::test
