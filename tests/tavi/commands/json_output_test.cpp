// tavi run --format json.
#include <map>

#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

using JsonOutputTest = CommandTest;

// Without the times, which grow.
std::vector<json> Untimed(const Outcome& outcome) {
  std::vector<json> objects = outcome.Json();
  double last = 0;
  for (json& object : objects) {
    EXPECT_GE(object["time"], last);
    last = object["time"];
    object.erase("time");
  }
  return objects;
}

json Event(const char* thread, const char* event, const json& value) {
  return {{"kind", "event"}, {"thread", thread}, {"event", event}, {"value", value}};
}

TEST_F(JsonOutputTest, TellsTheRunInOrder) {
  const Outcome outcome = Run({"--format", "json"},
                              "say hello\nannounce 5\nstart 6\nraw common 99 null\nraw hinge -1\n"
                              "rotation 90\ndsp refuse 1 -5\nstop 6\n");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err, "");
  const auto status = [](int result) {
    return json{{"kind", "write"},
                {"bytes", 12},
                {"result", result},
                {"messages", {{{"type", 0}, {"payload_bytes", 4}}}}};
  };
  std::vector<json> objects;
  for (const json& object : Untimed(outcome)) {
    if (object["kind"] != "log") objects.push_back(object);
  }
  EXPECT_THAT(objects,
              ElementsAre(json{{"kind", "init"}, {"result", 0}, {"handle", true}},
                          Event("common", "announce", 5), Event("usecase", "start", 6), status(0),
                          json{{"kind", "no-case"}, {"kept", json::array()}},
                          Event("common", "raw common 99", nullptr),
                          Event("sensor", "raw hinge", -1), Event("common", "rotation", 90),
                          json{{"kind", "no-case"}, {"kept", json::array()}},
                          Event("device", "dsp refuse 1 -5", nullptr), Event("usecase", "stop", 6),
                          status(-5), Event("control", "deinit", nullptr)));
  EXPECT_THAT(Untimed(outcome), Contains(json{{"kind", "log"},
                                              {"severity", "INFO"},
                                              {"tag", "audio_hw_compensation"},
                                              {"text", "audio_hw_compensation: common event 2"}}));
}

TEST_F(JsonOutputTest, TellsCorrectionsDumpsAndFailures) {
  const Outcome outcome =
      Run({"--format", "json"}, "announce 5\nstart 6\nhinge 150\ndump\nexpect case 1\nstart 7\n");
  EXPECT_EQ(outcome.exit_code, 1);
  std::map<std::string, json> last;
  for (const json& object : outcome.Json()) last[object["kind"]] = object;

  const json& write = last["write"];
  EXPECT_EQ(write["bytes"], 16 + 2064);
  EXPECT_EQ(write["result"], 0);
  EXPECT_EQ(write["cases"], json({2}));
  std::map<int, json> messages;
  for (const json& message : write["messages"]) messages[message["type"]] = message;
  EXPECT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[16]["payload_bytes"], 8);
  EXPECT_EQ(messages[16]["files"], json({"c.txt"}));
  EXPECT_EQ(messages[17]["payload_bytes"], 2056);

  EXPECT_THAT(last["dump"]["text"].get<std::string>(),
              AllOf(HasSubstr("TelephonySpeakerCompensation :\n"), HasSubstr("hinge angle:150")));
  EXPECT_EQ(last["violation"]["text"],
            "standard input:5: expect case 1: those that the DSP accepted last are of case 2");
  EXPECT_EQ(last.count("not-delivered"), 1U);
}

TEST_F(JsonOutputTest, EveryLineIsAnObjectWhateverTheBytes) {
  const Outcome outcome =
      RunTavi({"run", "--format", "json", "--config-text", "\xff\"\\\x01 \xc3"});
  EXPECT_EQ(outcome.exit_code, 0);
  const auto objects = Untimed(outcome);
  EXPECT_THAT(objects, Contains(json{{"kind", "init"}, {"result", 0}, {"handle", false}}));
  EXPECT_THAT(objects.front()["text"].get<std::string>(), HasSubstr("\"\\\x01"));
}

}  // namespace

}  // namespace brelmo::tavi::test
