// The text that the dump entry writes, and when.
#include "contract_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::HasSubstr;

// Brings what has no order into one: neighbouring lines with six blanks in front.
std::string Sorted(const std::string& dump) {
  std::istringstream stream(InFixedOrder(dump));
  Lines group;
  std::string result;
  const auto flush = [&] {
    std::sort(group.begin(), group.end());
    for (const auto& line : group) result += line + "\n";
    group.clear();
  };
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind("      ", 0) == 0) {
      group.push_back(line);
    } else {
      flush();
      result += line + "\n";
    }
  }
  flush();
  return result;
}

class DumpTest : public ContractTest {};

TEST_F(DumpTest, Text) {
  EXPECT_EQ(host_.Dump(), "\n");
  Init(
      "HingeAngle:0,90|ScreenRotation:180|LeftChannel:l.txt|RightChannel:none.txt "
      "HingeAngle:60,180|ScreenRotation:180|LeftChannel:l.txt|RightChannel:r.txt "
      "HingeAngle:90,180|LeftChannel:l.txt|RightChannel:r.txt");
  const std::string posture =
      "TelephonySpeakerCompensation :\n"
      "  Optional Parameters:\n"
      "    hinge angle:-1, screen rotation:0\n"
      "  Supported Scenario Is Active:false\n"
      "  Previous Case Keys: Null\n";
  const std::string table =
      "  TuningData:\n"
      "    Case Keys [0] :\n"
      "      Name : HingeAngle, Supported Index: {0 }\n"
      "      Name : ScreenRotation, Supported Index: {0 }\n"
      "    Output [0] :\n"
      "      FileName: , Type:1, Data Size:514\n"
      "      FileName: l.txt, Type:0, Data Size:2\n"
      "    Case Keys [1] :\n"
      "      Name : HingeAngle, Supported Index: {0 1 }\n"
      "      Name : ScreenRotation, Supported Index: {0 }\n"
      "    Output [1] :\n"
      "      FileName: l.txt, Type:0, Data Size:2\n"
      "      FileName: r.txt, Type:1, Data Size:2\n"
      "  Parameter Index:\n"
      "      HingeAngle {[0~90]:0, [60~180]:1, }\n"
      "      ScreenRotation {180:0, }\n"
      "\n";
  EXPECT_EQ(Sorted(host_.Dump().value()), posture + table);

  After(Announce(6));
  After(Start(24));
  After(Rotate(180));
  After(Hinge(7));
  After(Rotate(-45));
  EXPECT_EQ(Sorted(host_.Dump().value()),
            "TelephonySpeakerCompensation :\n"
            "  Optional Parameters:\n"
            "    hinge angle:7, screen rotation:-45\n"
            "  Supported Scenario Is Active:true\n"
            "  Previous Case Keys:Case Keys : {Name : HingeAngle, Supported Index: {0 } "
            "Name : ScreenRotation, Supported Index: {0 } }\n" +
                table);
  After(Stop(24));
  EXPECT_THAT(host_.Dump().value(), HasSubstr("Active:false\n  Previous Case Keys: Null\n"));
  EXPECT_TRUE(host_.Deinit());
  EXPECT_EQ(host_.Dump(), "\n");
}

// The writer keeps the module's lock until it is let go.
TEST_F(DumpTest, DoesNotWaitForTheDsp) {
  Init("HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt");
  After(Hinge(10));
  After(Announce(5));
  host_.SetPatience(std::chrono::seconds(5));
  transcript_.HoldWrites();
  EXPECT_EQ(host_.Post(Start(6)), Delivery::kDelivered);
  ASSERT_TRUE(transcript_.WaitForHeldWrite());
  const auto dump = host_.Dump();
  ASSERT_TRUE(dump.has_value()) << "the dump waits";
  EXPECT_THAT(*dump, HasSubstr("Active:true\n"));
  EXPECT_THAT(transcript_.Take(), testing::Contains("write status 1 = 0").Times(1));
  transcript_.ReleaseWrites();
  EXPECT_TRUE(host_.Drain());
  EXPECT_THAT(transcript_.Take(), testing::Contains("write L(0.5 -0.25) R(2 3) = 0"));
}

}  // namespace
}  // namespace brelmo::tavi::test
