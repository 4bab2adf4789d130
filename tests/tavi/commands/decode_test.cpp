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
                                    {"offset", 0},
                                    {"type", 0},
                                    {"payload_bytes", 4},
                                    {"active", true}}));
  EXPECT_EQ(messages.back()["active"], false);
  std::map<std::string, json> responses;  // by data file
  for (size_t i = 1; i <= 4; ++i) responses[messages[i]["files"].at(0)] = messages[i];
  ASSERT_EQ(responses.size(), 4U);
  EXPECT_EQ(responses["a.txt"]["type"], 16);
  EXPECT_EQ(responses["b.txt"]["type"], 17);
  EXPECT_EQ(responses["c.txt"]["bins"], 1);
  EXPECT_EQ(responses[""]["payload_bytes"], 2056);
  EXPECT_EQ(responses[""]["least_db"], 0);
}

TEST_F(DecodeCommandTest, PrintsALineAMessage) {
  const Outcome plain = Decode(call_);
  EXPECT_EQ(plain.exit_code, 0);
  EXPECT_THAT(Lines(plain.out), ElementsAre("offset 0  status (type 0): active",
                                            "offset 12  right (type 17), 2 bins, -12.0 to 6.0 dB",
                                            "offset 36  left (type 16), 1 bin, 19.1 to 19.1 dB",
                                            "offset 52  status (type 0): inactive"));
  const Outcome named = Decode(call_, WithConfig());
  EXPECT_THAT(Lines(named.out)[1], HasSubstr("6.0 dB, b.txt"));
  EXPECT_THAT(Lines(named.out)[2], HasSubstr("dB, no file of this configuration"));
  EXPECT_THAT(Decode(ResponseMessage(16, {1, 0, std::nanf(""), 0})).out,
              HasSubstr("bin 1 is not a number"));
  EXPECT_THAT(Decode(ResponseMessage(16, {0, 0, 2, 0}), {"--format", "json"}).out,
              HasSubstr("\"least_db\":null,\"greatest_db\":6.02"));
}

TEST_F(DecodeCommandTest, SaysWhereADamagedCaptureStopsMakingSense) {
  for (const char* const format : {"text", "json"}) {
    const Outcome outcome =
        Decode(call_ + ResponseMessage(18, {1, 0}) + call_, {"--format", format});
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(Lines(outcome.out).size(), 4U);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(folder_.path("capture")), HasSubstr("offset 64"),
                                   HasSubstr("unknown message type 18")));
  }
  const Outcome empty = Decode("");
  EXPECT_EQ(empty.exit_code, 0);
  EXPECT_THAT(empty.err, HasSubstr("capture: is empty: nothing was written"));
  EXPECT_THAT(Decode("12-01 INFO a log\n").err, HasSubstr("is text and no capture"));
  const Outcome cut = Decode(call_.substr(0, call_.size() - 1));
  EXPECT_EQ(cut.exit_code, 2);
  EXPECT_EQ(Lines(cut.out).size(), 3U);
  EXPECT_THAT(cut.err, HasSubstr("offset 52"));
}

}  // namespace

}  // namespace brelmo::tavi::test
