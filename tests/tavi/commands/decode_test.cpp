// tavi run --capture and tavi decode.
#include <cmath>

#include <map>

#include <gmock/gmock.h>

#include "command.h"
#include "dsp_bytes.h"

namespace brelmo::tavi::test {

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class DecodeCommandTest : public CommandTest {
 protected:
  Outcome Decode(const std::string& bytes, const Strings& more = {}) const {
    folder_.Write("capture", bytes);
    Strings arguments = {"decode", folder_.path("capture")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTavi(arguments);
  }
  Strings WithConfig(Strings more = {}) const {
    more.insert(more.end(),
                {"--config", folder_.path("device.conf"), "--data-root", folder_.path("etc")});
    return more;
  }

  const std::string call_ = StatusMessage(1) + ResponseMessage(17, {0.25F, 0, 2, 0}) +
                            ResponseMessage(16, {9, 0}) + StatusMessage(0);
};

TEST_F(DecodeCommandTest, ReadsWhatRunCaptured) {
  const std::string file = folder_.path("run.capture");
  folder_.Write("run.capture", call_);  // a capture that was there before
  ASSERT_EQ(Run({"--capture", file},
                "announce 5\nstart 6\nhinge 30\ndsp refuse 1 -5\nhinge 150\ndsp absent\nhinge 30\n"
                "dsp present\nstop 6\n")
                .exit_code,
            0);
  EXPECT_EQ(ReadFile(file).size(), 12U + 48U + (16U + 2064U) + 12U)
      << "refused writes are captured too";

  const Outcome outcome = RunTavi(WithConfig({"decode", file, "--format", "json"}));
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err, "");
  const auto messages = outcome.Json();
  ASSERT_EQ(messages.size(), 6U);
  EXPECT_EQ(messages.front(), (json{{"kind", "message"},
                                    {"delivery", 0},
                                    {"time", nullptr},
                                    {"result", nullptr},
                                    {"offset", 0},
                                    {"type", 0},
                                    {"payload_bytes", 4},
                                    {"active", true}}));
  EXPECT_EQ(messages.back()["active"], false);
  std::map<std::string, json> responses;  // by data file
  for (size_t i = 1; i <= 4; ++i) {
    const json& files = messages[i][messages[i]["flat"] ? "in_place_of" : "files"];
    responses[files.at(0)] = messages[i];
  }
  ASSERT_EQ(responses.size(), 4U);
  EXPECT_EQ(responses["a.txt"]["type"], 16);
  EXPECT_EQ(responses["b.txt"]["type"], 17);
  EXPECT_EQ(responses["b.txt"]["case"], 0);
  EXPECT_EQ(responses["b.txt"]["cases"].size(), 2U) << "the cases 0 and 1 have the same files";
  EXPECT_EQ(responses["c.txt"]["bins"], 1);
  EXPECT_EQ(responses["c.txt"]["delivery"], 2);
  EXPECT_EQ(responses["c.txt"]["case"], 2);
  EXPECT_EQ(responses["gone.txt"]["payload_bytes"], 2056);
  EXPECT_EQ(responses["gone.txt"]["min_db"], 0);
}

TEST_F(DecodeCommandTest, SaysWhatTheDeviceHadInPlaceOfTheDesksFiles) {
  // The device's copy of a.txt is broken in one call, and another one's b.txt is 0.3 dB off.
  std::vector<float> flat;
  for (int bin = 0; bin < 257; ++bin) flat.insert(flat.end(), {1, 0});
  const std::string capture = ResponseMessage(16, flat) + ResponseMessage(17, {0.25F, 0, 2, 0}) +
                              ResponseMessage(17, {0.25F, 0, 1.93F, 0}) +
                              ResponseMessage(16, {4, 0});
  folder_.Write("other.conf", "HingeAngle:0,9|LeftChannel:c.txt|RightChannel:d.txt\n");
  folder_.Write("other/c.txt", "4,0\n");
  folder_.Write("other/d.txt", "0.25,0\n1.93,0\n");
  const Strings two = {
      "--config", folder_.path("device.conf"), "--data-root", folder_.path("etc"),
      "--config", folder_.path("other.conf"),  "--data-root", folder_.path("other")};
  const Strings one = Lines(Decode(capture, WithConfig()).out);
  ASSERT_EQ(one.size(), 2U);
  EXPECT_THAT(one[0], AllOf(HasSubstr("case 0 (hinge angle 0 to 60) or case 1"),
                            HasSubstr("left 257 bins, flat, in place of a.txt; right 2 bins")));
  EXPECT_THAT(one[1], AllOf(HasSubstr("no case: "), HasSubstr("the nearest is 0.3 dB from b.txt"),
                            HasSubstr("c.txt")));
  const Outcome both = Decode(capture, two);
  EXPECT_THAT(Lines(both.out)[1],
              AllOf(HasSubstr("case 0 (hinge angle 0 to 9) of " + folder_.path("other.conf")),
                    HasSubstr("d.txt")));

  // What is extracted is what was sent.
  const std::string extracted = folder_.path("extracted");
  ASSERT_EQ(Decode(capture + capture, {"--extract", extracted}).exit_code, 0);
  EXPECT_EQ(ReadFile(extracted + "/delivery_1_right.txt"), "0.25,0\n1.93,0\n");
  EXPECT_EQ(ReadFile(extracted + "/delivery_3_right.txt"), "") << "each response once";
  EXPECT_THAT(Decode(capture, {"--extract", folder_.path("etc")}).err,
              HasSubstr("which tavi did not make"));
}

TEST_F(DecodeCommandTest, PrintsALineADelivery) {
  const Outcome plain = Decode(call_);
  EXPECT_EQ(plain.exit_code, 0);
  EXPECT_THAT(Lines(plain.out),
              ElementsAre("delivery 0  offset 0  status 1",
                          "delivery 1  offset 12  right 2 bins, -12.0 to 6.0 dB; left 1 bin, 19.1 "
                          "to 19.1 dB",
                          "delivery 2  offset 52  status 0"));
  const Outcome named = Decode(call_, WithConfig());
  EXPECT_THAT(Lines(named.out)[1],
              AllOf(HasSubstr("no case: right"), HasSubstr("6.0 dB, b.txt; left"),
                    HasSubstr("no file; the nearest is 7.0 dB from c.txt")));
  EXPECT_THAT(Decode(ResponseMessage(16, {1, 0, std::nanf(""), 0})).out,
              HasSubstr("bin 1 is not a number"));
  EXPECT_THAT(Decode(ResponseMessage(16, {0, 0, 2, 0}), {"--format", "json"}).out,
              HasSubstr("\"min_db\":null,\"max_db\":6.02"));
}

TEST_F(DecodeCommandTest, SaysWhereADamagedCaptureStopsMakingSense) {
  for (const char* const format : {"text", "json"}) {
    const Outcome outcome =
        Decode(call_ + ResponseMessage(18, {1, 0}) + call_, {"--format", format});
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(Lines(outcome.out).size(), std::string(format) == "text" ? 3U : 4U);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(folder_.path("capture")), HasSubstr("offset 64"),
                                   HasSubstr("unknown message type 18")));
  }
  const Outcome empty = Decode("");
  EXPECT_EQ(empty.exit_code, 0);
  EXPECT_THAT(empty.err, HasSubstr("capture: is empty: nothing was written"));
  EXPECT_THAT(Decode("12-01 INFO a log\n").err, HasSubstr("is text and no capture"));
  const Outcome cut = Decode(call_.substr(0, call_.size() - 1));
  EXPECT_EQ(cut.exit_code, 2);
  EXPECT_EQ(Lines(cut.out).size(), 2U);
  EXPECT_THAT(cut.err, HasSubstr("offset 52"));
}

}  // namespace

}  // namespace brelmo::tavi::test
