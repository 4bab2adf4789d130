// Which case is sent for a posture, and what exactly is sent.
#include <cstring>
#include <map>

#include "contract_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

// A case with these conditions whose data files are al.txt and ar.txt, bl.txt and br.txt, ...
std::string Case(const std::string& conditions, char letter) {
  return conditions + "|LeftChannel:" + letter + "l.txt|RightChannel:" + letter + "r.txt";
}
std::string HingeKey(const std::string& indices) {
  return "Name : HingeAngle, Supported Index: {" + indices + "} ";
}
std::string RotationKey(const std::string& indices) {
  return "Name : ScreenRotation, Supported Index: {" + indices + "} ";
}

class CaseChoiceTest : public ContractTest {
 protected:
  CaseChoiceTest() {
    for (int i = 0; i < 3; ++i) {
      const std::string value = std::to_string(i + 1);
      const std::string letter(1, static_cast<char>('a' + i));
      folder_.Write(letter + "l.txt", value + ",-1\n");
      folder_.Write(letter + "r.txt", value + ",1\n");
    }
  }

  // The scenario, which sends the case at once when one fits.
  void Activate(char sent = 0) {
    After(Announce(5));
    Expect(Start(6), sent);
  }
  void Deactivate() {
    EXPECT_THAT(After(Stop(6)), ElementsAreArray(Status(false)));
    previous_ = 0;
  }
  // The event sends the case `sent`, or nothing when that is 0; the DSP answers `result`.
  void Expect(const HostEvent& event, char sent, int result = 0) {
    SCOPED_TRACE("event " + std::to_string(event.number) + ", value " +
                 std::to_string(event.value.value_or(-1)));
    Lines expected;
    if (event.number == simulator::kUsecaseStarted) expected = Status(true);
    if (sent != 0) {
      const std::string from =
          previous_ == 0 ? " " : " previousCase Keys : {" + keys_.at(previous_) + "} -> ";
      expected.push_back(EngineInfo("UpdateTuningData: update case keys:" + from + "Case Keys : {" +
                                    keys_.at(sent) + "}"));
      const std::string value = std::to_string(sent - 'a' + 1);
      if (result != 0) host_.dsp().RefuseNext(1, result);
      expected = expected + Delivered("UpdateTuningData",
                                      "left(" + value + " -1) right(" + value + " 1)", 32, result);
      previous_ = sent;
    }
    EXPECT_THAT(After(event), ElementsAreArray(expected));
  }

  std::map<char, std::string> keys_;  // by case
  char previous_ = 0;                 // the case sent last
};

TEST_F(CaseChoiceTest, OverlappingCases) {
  keys_ = {{'a', HingeKey("0 ") + RotationKey("0 1 ")},
           {'b', HingeKey("1 ") + RotationKey("2 3 ")},
           {'c', HingeKey("0 1 ") + RotationKey("0 ")}};
  Init(Case("HingeAngle:0,90|ScreenRotation:0,180", 'a') + " " +
       Case("HingeAngle:91,180|ScreenRotation:90,270", 'b') + " " +
       Case("ScreenRotation:0|HingeAngle:90,180", 'c'));
  Activate();  // the rotation alone satisfies no case
  Expect(Hinge(30), 'a');
  Expect(Hinge(40), 'c');  // both fit: by turns
  Expect(Hinge(50), 'a');
  Expect(Hinge(50), 0);  // no change
  Expect(Rotate(0), 0);
  Expect(Hinge(120), 'c');
  Expect(Hinge(150), 0);  // only c fits
  Expect(Rotate(90), 'b');
  Expect(Rotate(90), 0);
  Expect(Rotate(270), 0);
  Expect(Rotate(45), 0);  // unknown to the configuration, but remembered
  Expect(Rotate(90), 0);  // the case sent last is remembered meanwhile
  Expect(Hinge(90), 0);   // in the first range now
  Expect(Rotate(180), 'a');
  Expect(Hinge(91), 0);
  Expect(Rotate(-90), 0);
  Expect(Rotate(0), 'c');
  Deactivate();
  Expect(Hinge(10), 0);
  Activate('a');  // the first that fits, c is forgotten
}

TEST_F(CaseChoiceTest, RefusedWritesAreNotRepeated) {
  keys_ = {{'a', HingeKey("0 ")}, {'b', HingeKey("1 ")}};
  Init(Case("HingeAngle:0,90", 'a') + " " + Case("HingeAngle:91,180", 'b'));
  Expect(Hinge(0), 0);  // while the scenario is not active
  Activate('a');
  Expect(Hinge(120), 'b', -5);
  Expect(Hinge(130), 0);
  Expect(Hinge(80), 'a', 1);
  Expect(Rotate(180), 0);
  Deactivate();
  Activate('a');
  host_.SetTuningEntry(false);
  EXPECT_THAT(After(Hinge(180)),
              testing::Contains(EngineError("UpdateTuningData: fail to update tuning.")));
  host_.SetTuningEntry(true);
  Expect(Hinge(170), 0);
}

TEST_F(CaseChoiceTest, PostureBeforeTheFirstReading) {
  keys_ = {{'a', RotationKey("0 ")}, {'b', RotationKey("1 ")}};
  // The second case has the keys of the first: it never gets its turn.
  Init(Case("ScreenRotation:0", 'a') + " " + Case("ScreenRotation:0,0", 'c') + " " +
       Case("ScreenRotation:90", 'b'));
  Activate('a');
  EXPECT_EQ(host_.Deliver(Hinge(30)), Delivery::kNotRegistered);
  Expect(Rotate(90), 'b');
  Deactivate();
  Expect(Rotate(0), 0);
  Activate('a');
}

TEST_F(CaseChoiceTest, AnglesOutsideTheHingesReach) {
  keys_ = {{'a', HingeKey("0 ")}};
  Init(Case("HingeAngle:0,180", 'a'));
  Activate();
  for (const int angle : {-1, 181, 360, INT32_MIN, INT32_MAX}) Expect(Hinge(angle), 0);
  EXPECT_THAT(host_.Dump().value(), HasSubstr("hinge angle:-1,"));
  Expect(Hinge(0), 'a');
  Expect(Hinge(181), 0);
  EXPECT_THAT(host_.Dump().value(), HasSubstr("hinge angle:0,"));
  Expect(Hinge(180), 0);
  EXPECT_THAT(host_.Dump().value(), HasSubstr("hinge angle:180,"));
}

// ---- Refused configurations ---------------------------------------------------------------------

struct FaultCase {
  const char* name;
  std::string bad_case;
  Lines errors;
};
class FaultTest : public CaseChoiceTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FaultTest, LeavesTheCasesBefore) {
  const std::string config = Case("HingeAngle:0,90", 'a') + " " + GetParam().bad_case + " " +
                             Case("HingeAngle:91,170", 'b');
  EXPECT_TRUE(host_.Init(config.c_str()).has_handle);
  Lines logged;
  for (const auto& line : recorder_.TakeLines()) {
    if (line.rfind("log ERROR", 0) == 0) logged.push_back(line);
  }
  EXPECT_THAT(logged, ElementsAreArray(GetParam().errors));
  keys_ = {{'a', HingeKey("0 ")}};
  Activate();
  Expect(Hinge(30), 'a');
  Expect(Hinge(120), 0);
  const std::string dump = host_.Dump().value();
  EXPECT_THAT(dump, HasSubstr("Case Keys [0]"));
  EXPECT_THAT(dump, Not(HasSubstr("Case Keys [1]")));
}

// For the name of the test.
void PrintTo(const FaultCase& row, std::ostream* out) { *out << row.name; }

const FaultCase kFaults[] = {
    {"ConditionCount",
     Case("HingeAngle:91,180|ScreenRotation:0", 'b'),
     {EngineError("ParseConfig: invalid parm size, current:1, failed: 2")}},
    {"ConditionName",
     Case("hingeAngle:91,180", 'b'),
     {EngineError("ParseConfig: invalid condition name hingeAngle")}},
    {"Range",
     Case("HingeAngle:91,181", 'b'),
     {IndexError("UpdateDecisionRules: invalid range 91 ~ 181"),
      EngineError("ParseRule: unsupported rule data for name HingeAngle")}},
};
INSTANTIATE_TEST_SUITE_P(, FaultTest, testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Bytes --------------------------------------------------------------------------------------

// A response of this many bins, as a data file and as the DSP's message of this type.
struct Sample {
  Sample(float first, int bins, unsigned char type) {
    const auto size = static_cast<unsigned>(bins) * 8;
    message = {type,
               0,
               0,
               0,
               static_cast<unsigned char>(size % 256),
               static_cast<unsigned char>(size / 256),
               0,
               0};
    message.resize(8 + size);
    std::ostringstream text;
    for (int i = 0; i < bins; ++i) {
      const float bin[] = {first + static_cast<float>(i) / 4, -static_cast<float>(i) / 8};
      text << bin[0] << "," << bin[1] << "\n";
      std::memcpy(message.data() + 8 + sizeof(bin) * static_cast<size_t>(i), bin, sizeof(bin));
    }
    file = text.str();
  }
  std::string file;
  std::vector<unsigned char> message;
};

TEST_F(CaseChoiceTest, OneWriteCarriesBothChannels) {
  const Sample left(1, 257, 16);
  const Sample right(-2, 257, 17);
  const Sample alone(3, 2, 17);
  folder_.Write("al.txt", left.file);
  folder_.Write("ar.txt", right.file);
  folder_.Write("bl.txt", "\n");
  folder_.Write("br.txt", alone.file);
  folder_.Write("cl.txt", "");
  folder_.Write("cr.txt", "");
  Init(Case("HingeAngle:0,60", 'a') + " " + Case("HingeAngle:61,120", 'b') + " " +
       Case("HingeAngle:121,180", 'c'));
  After(Hinge(30));
  After(Announce(5));
  EXPECT_THAT(After(Start(6)),
              testing::Contains(EngineInfo("UpdateTuningData: update tuning with size 4128")));
  auto writes = recorder_.TakeWrites();
  ASSERT_EQ(writes.size(), 2U);  // the first is the status
  const auto& bytes = writes[1].bytes;
  ASSERT_EQ(bytes.size(), 4128U);
  const std::vector<unsigned char> first(bytes.begin(), bytes.begin() + 2064);
  const std::vector<unsigned char> second(bytes.begin() + 2064, bytes.end());
  EXPECT_THAT(std::vector({first, second}), UnorderedElementsAre(left.message, right.message));

  // A channel without data is left out; a case without data is taken, but nothing is sent.
  EXPECT_THAT(After(Hinge(90)),
              testing::Contains(EngineInfo("UpdateTuningData: update tuning with size 24")));
  writes = recorder_.TakeWrites();
  ASSERT_EQ(writes.size(), 1U);
  EXPECT_EQ(writes[0].bytes, alone.message);
  EXPECT_THAT(After(Hinge(150)),
              ElementsAre(testing::_, EngineWarning("UpdateTuningData: no valid data")));
  EXPECT_THAT(host_.Dump().value(), HasSubstr("Previous Case Keys:Case Keys : {Name : HingeAngle, "
                                              "Supported Index: {2 } }\n"));
  EXPECT_THAT(After(Hinge(151)), IsEmpty());
}

}  // namespace
}  // namespace brelmo::tavi::test
