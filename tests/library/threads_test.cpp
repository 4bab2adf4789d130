// Traffic on all of the host's threads at once: also for a run under the thread sanitizer.
#include "contract_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ContractThreads : public ContractTest {
 protected:
  // Four cases that cover every posture and do not overlap.
  ContractThreads() {
    std::string config;
    for (int i = 0; i < 4; ++i) {
      const std::string number = std::to_string(i);
      for (const char* const channel : {"l", "r"}) {
        folder_.Write(number + channel + ".txt", number + "," + number);
      }
      config += (i < 2 ? "HingeAngle:0,90|" : "HingeAngle:91,180|") +
                std::string(i % 2 == 0 ? "ScreenRotation:0,180|" : "ScreenRotation:90,270|") +
                "LeftChannel:" + number + "l.txt|RightChannel:" + number + "r.txt ";
    }
    Init(config);
  }

  // One event for each thread.
  void PostRound(int round) {
    static constexpr int kRotations[] = {0, 90, 180, 270, 45};
    host_.Post(Raw(round % 3 == 0   ? Rotate(kRotations[round / 3 % 5])
                   : round % 3 == 1 ? Announce(5 + round % 2)
                                    : Withdraw(5 + round / 2 % 2)));
    host_.Post(Raw(round % 4 < 2 ? Start(22 + round % 3) : Stop(22 + round / 3 % 3)));
    host_.Post(Raw(Hinge(round * 37 % 185)));
  }

  // The statuses alternate, and what is sent between is a whole case while the status is active.
  // Returns the last write.
  std::string CheckWrites(const Lines& lines) {
    bool is_active = false;
    std::string last;
    for (const std::string& line : lines) {
      if (line.rfind("write", 0) != 0) continue;
      const std::string messages = line.substr(0, line.find(" ="));
      if (messages.rfind("write status", 0) == 0) {
        is_active = !is_active;
        EXPECT_EQ(messages, is_active ? "write status 1" : "write status 0");
      } else {
        EXPECT_TRUE(is_active);
        EXPECT_THAT(messages, AnyOf("write left(0 0) right(0 0)", "write left(1 1) right(1 1)",
                                    "write left(2 2) right(2 2)", "write left(3 3) right(3 3)"));
        EXPECT_NE(messages, last);
      }
      last = messages;
    }
    return last;
  }
};

TEST_F(ContractThreads, TrafficWithDumpsAndRefusals) {
  const std::string fresh = host_.Dump().value();
  const std::string table = fresh.substr(fresh.find("  TuningData:"));
  for (int round = 0; round < 600; ++round) {
    PostRound(round);
    if (round % 50 == 0) host_.dsp().RefuseNext(3, -5);
    if (round % 10 != 0) continue;
    const std::string dump = host_.Dump().value();
    EXPECT_THAT(dump, StartsWith("TelephonySpeakerCompensation :\n"));
    EXPECT_THAT(dump, EndsWith(table));
    EXPECT_THAT(dump, AnyOf(HasSubstr("Previous Case Keys: Null\n"),
                            testing::ContainsRegex("Previous Case Keys:Case Keys : "
                                                   "\\{(Name : [A-Za-z]+, Supported Index: "
                                                   "\\{[0-9 ]+\\} ){2}\\}\n")));
  }
  // Whatever came before, this is where it ends.
  host_.Post(Announce(5));
  host_.Post(Rotate(270));
  host_.Post(Start(6));
  host_.Post(Hinge(91));
  ASSERT_TRUE(host_.Drain());
  EXPECT_EQ(CheckWrites(recorder_.TakeLines()), "write left(3 3) right(3 3)");
  EXPECT_THAT(InFixedOrder(host_.Dump().value()),
              HasSubstr("    hinge angle:91, screen rotation:270\n"
                        "  Supported Scenario Is Active:true\n"
                        "  Previous Case Keys:Case Keys : {Name : HingeAngle, Supported Index: {1 "
                        "} Name : ScreenRotation, Supported Index: {2 3 } }\n"));
  EXPECT_TRUE(host_.Deinit());
}

TEST_F(ContractThreads, DeinitAmidTraffic) {
  for (int round = 0; round < 300; ++round) PostRound(round);
  EXPECT_TRUE(host_.Deinit());
  EXPECT_EQ(host_.Dump(), "\n");
  for (int round = 0; round < 30; ++round) PostRound(round);  // handlers that the host kept
  ASSERT_TRUE(host_.Drain());
  CheckWrites(recorder_.TakeLines());
}

}  // namespace
}  // namespace brelmo::tavi::test
