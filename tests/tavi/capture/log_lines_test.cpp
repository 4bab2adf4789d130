// Whether every line that the module can log is understood, by running it and by its sources.

// Of what the module has in a header.
#define LOG_TAG "audio_hw_telephony_speaker_compensation"

#include "capture/log_lines.h"

#include <fstream>
#include <regex>
#include <set>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "log_capture.h"
#include "process/scratch_folder.h"
#include "simulated_host.h"
#include "tavi_compensation.h"
#include "test_engine.h"

namespace brelmo::tavi::test {

namespace {

using tools::LogEvent;

// Each form as "SEVERITY fragment"; what the sources have must be the same.
std::set<std::string> FormsInSources() {
  std::set<std::string> forms;
  const std::regex statement(R"re(LOG\((\w+)\)\s*<<\s*(?:__func__\s*<<\s*)?"([^"]*)")re");
  for (const auto& file : std::filesystem::directory_iterator(TAVI_MODULE_SOURCES)) {
    std::ifstream stream(file.path());
    const std::string text((std::istreambuf_iterator<char>(stream)), {});
    for (std::sregex_iterator match(text.begin(), text.end(), statement), end; match != end;
         ++match) {
      forms.insert((*match)[1].str() + " " + (*match)[2].str());
    }
    // A statement of another shape would go unnoticed.
    const std::regex any(R"re(\bLOG\(\w+\))re");
    EXPECT_EQ(std::distance(std::sregex_iterator(text.begin(), text.end(), any), {}),
              std::distance(std::sregex_iterator(text.begin(), text.end(), statement), {}))
        << file.path();
    const std::regex other(R"re(__android_log|LogMessage|\b(?:[A-Z_]+LOG|LOG_[A-Z])\w*\s*\()re");
    EXPECT_FALSE(std::regex_search(text, other)) << file.path() << " logs by other means";
  }
  return forms;
}

TEST(LogLinesTest, AreAllThatTheModuleLogs) {
  std::set<std::string> known;
  std::set<LogEvent> events;
  for (const tools::LogLineForm& form : tools::LogLineForms()) {
    known.insert(std::string(simulator::SeverityName(form.severity)) + " " +
                 std::string(form.fragment));
    events.insert(form.event);
  }
  EXPECT_THAT(FormsInSources(), testing::ContainerEq(known));
  EXPECT_EQ(events.size(), tools::kLogEventCount);
}

TEST(LogLinesTest, AreUnderstoodAsTheRunningModuleLogsThem) {
  tools::ScratchFolder files;
  files.Write("good.txt", "1,2\n");
  files.Write("fields.txt", "1\n");
  files.Write("letters.txt", "1,x\n");
  files.Write("empty.txt", "");
  const simulator::DataFolder folder(files.path());
  std::set<LogEvent> seen;
  const simulator::LogCapture capture([&seen](const simulator::LogLine& line) {
    const auto message = tools::ParseLogMessage(line.text, true);
    ASSERT_TRUE(message);
    EXPECT_LT(message->event, LogEvent::kCut) << line.text;
    // It is the line's own form, too, without its tag, and cut nowhere before its end.
    EXPECT_TRUE(tools::ParseLogMessage(line.text, false)) << line.text;
    const bool has_form = std::any_of(
        tools::LogLineForms().begin(), tools::LogLineForms().end(), [&](const auto& form) {
          return form.event == message->event && form.tag == line.tag &&
                 form.severity == line.severity;
        });
    EXPECT_TRUE(has_form) << line.text;
    seen.insert(message->event);
  });

  const std::string good = "|LeftChannel:good.txt|RightChannel:good.txt";
  const simulator::LoadedModule module(TAVI_MODULE_FILE);
  simulator::HostObserver observer;
  const auto run = [&](const std::string& config, const auto& prepare) {
    simulator::SimulatedHost host(module, observer);
    prepare(host);
    host.Init(config.c_str());
    using Source = simulator::HostEvent::Source;
    for (const auto& [source, number, value] :
         std::vector<std::tuple<Source, int, int>>{{Source::kCommon, 2, 5},
                                                   {Source::kHingeAngle, 0, 30},
                                                   {Source::kUsecase, 21, 6},
                                                   {Source::kHingeAngle, 0, 100},
                                                   {Source::kCommon, 99, 0},
                                                   {Source::kUsecase, 99, 6},
                                                   {Source::kUsecase, 22, 6}}) {
      host.Deliver({source, number, value, true});
    }
    if (host.handle() != nullptr) host.Deinit();
  };
  const auto nothing = [](simulator::SimulatedHost&) {};
  const std::string two = "HingeAngle:0,60" + good + " HingeAngle:61,180" + good;
  run(two, nothing);
  run(two, [](auto& host) { host.dsp().RefuseNext(100, -5); });
  run(two, [](auto& host) { host.RefuseMemory(); });
  run(two, [](auto& host) { host.RefuseCommonClient(-3); });
  run(two, [](auto& host) { host.RefuseHingeAngle(-3); });
  run("HingeAngle:0,60|LeftChannel:empty.txt|RightChannel:empty.txt", nothing);
  for (const char* const conditions :
       {"HingeAngle", "HingeAngle:0,60", "HingeAngle:,", "HingeAngle:x,1", "HingeAngle:90,9",
        "HingeAngle:1,2,3", "ScreenRotation:45", "Other:1", ""}) {
    run(two + " " + conditions + good, nothing);
  }
  run(two + " HingeAngle:0,60|LeftChannel:good.txt", nothing);
  run(two + " HingeAngle:0,60|ScreenRotation:0" + good, nothing);
  run("LeftChannel:good.txt|RightChannel:good.txt", nothing);
  run("HingeAngle:0,60|LeftChannel:letters.txt|RightChannel:fields.txt", nothing);
  run("HingeAngle:0,60|LeftChannel:gone.txt|RightChannel:gone.txt", nothing);
  run("", nothing);

  // What the rest of the module keeps from happening.
  TelephonySpeakerCompensation engine(nullptr, {});
  EnginePeer inside(engine);
  CaseKeys keys;
  std::vector<CompensationData> data;
  inside.ParseRule(keys, {}, "HingeAngle");
  inside.ParseOutput(data, {{"LeftChannel", "good.txt"}});
  inside.ParseOutput(data, {{"LeftChannel", "good.txt"}, {"Other", "good.txt"}});
  CompensationData().SetRawData({1});
  audio::compensation::ScreenRotationIndex().UpdateDecisionRules({});
  unsigned char room[8] = {};
  audio::compensation::PackageTaviCompensationData(room, 0, 16, room, 1);
  audio::compensation::PackageTaviCompensationData(room, 8, 16, room, 8);
  CompensationConfig named;
  named.name = "other";
  named.cases.emplace_back();
  const TelephonySpeakerCompensation of_another(nullptr, named);
  std::set<LogEvent> unseen;
  for (const tools::LogLineForm& form : tools::LogLineForms()) {
    if (seen.count(form.event) == 0) unseen.insert(form.event);
  }
  // No input makes the module log these.
  EXPECT_THAT(unseen, testing::IsSubsetOf({LogEvent::kNoIndexForValue, LogEvent::kNoIndexAtAll,
                                           LogEvent::kNoOutput, LogEvent::kInvalidType,
                                           LogEvent::kPackageFailed, LogEvent::kSizeMismatch}));
}

TEST(LogLinesTest, AreNotTakenForMoreThanTheyAre) {
  const auto event = [](const char* text) { return tools::ParseLogMessage(text, true)->event; };
  EXPECT_EQ(event("UpdateTuningData: update case keys: Case Keys : {Name : Hin"), LogEvent::kCut);
  EXPECT_EQ(event("UpdateTuningData: update tun"), LogEvent::kCut);
  EXPECT_EQ(event("UpdateTuningData: update tuning with size 12x"), LogEvent::kCut);
  EXPECT_EQ(event("something else"), LogEvent::kUnknown);
  EXPECT_FALSE(tools::ParseLogMessage("UpdateTuningDate: update", false));
}

}  // namespace

}  // namespace brelmo::tavi::test
