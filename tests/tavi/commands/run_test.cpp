// tavi run, text output.
#include <sys/stat.h>

#include <chrono>
#include <sstream>
#include <utility>

#include <gmock/gmock.h>

#include "command.h"
#include "dsp_bytes.h"

namespace brelmo::tavi::test {

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

using testing::Not;
using testing::StartsWith;

using RunCommandTest = CommandTest;

constexpr const char* kCall =
    "announce 5\n"
    "start 6\n"
    "hinge 30\n";

// The lines below the step `head`.
std::string Caused(const std::string& out, const std::string& head) {
  std::string caused;
  bool is_inside = false;
  for (const std::string& line : Lines(out)) {
    if (line.find(" s  ") == 8 || line.empty()) {
      is_inside = line.find(head) != std::string::npos;
    } else if (is_inside) {
      caused += line + "\n";
    }
  }
  return caused;
}

TEST_F(RunCommandTest, ShowsEachEventAndWhatItCaused) {
  const Outcome outcome = Run({}, std::string(kCall) + "dsp refuse 1 -5\nhinge 150\nstart 7\n");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, Not(HasSubstr("\033"))) << "colour is for terminals";
  EXPECT_THAT(outcome.out,
              AllOf(ContainsRegex(" [0-9]+\\.[0-9]+ s  common +announce 5  \\(common event 2\\)\n"),
                    ContainsRegex(" s  usecase +start 6  \\(use-case event 21\\)\n"),
                    ContainsRegex(" s  sensor +hinge 30\n"), ContainsRegex(" s  control +init\n"),
                    ContainsRegex(" s  control +deinit\n")));
  EXPECT_THAT(
      Caused(outcome.out, "start 6"),
      AllOf(HasSubstr("log   INFO [audio_hw_compensation] audio_hw_compensation: use case "
                      "event 21\n"),
            HasSubstr("write of 12 bytes, accepted\n"), HasSubstr("status (type 0): active\n")));
  EXPECT_THAT(Caused(outcome.out, "hinge 30"),
              AllOf(HasSubstr("write of 48 bytes, accepted: case 0 or 1\n"),
                    HasSubstr("left (type 16), 2 bins, a.txt\n"),
                    HasSubstr("right (type 17), 2 bins, b.txt\n")));
  EXPECT_THAT(
      Caused(outcome.out, "hinge 150"),
      AllOf(HasSubstr("refused with -5: case 2\n"), HasSubstr("left (type 16), 1 bin, c.txt\n"),
            HasSubstr("right (type 17), 257 bins, flat for want of a usable file\n"),
            HasSubstr("log   ERROR [audio_hw_telephony_speaker_compensation]")));
  EXPECT_THAT(Caused(outcome.out, "start 7"), HasSubstr("not delivered: the module"));
  EXPECT_THAT(Lines(outcome.out).back(),
              "4 events, 3 writes to the DSP (1 refused), 0 expectations: all as expected");
}

TEST_F(RunCommandTest, ACallIsItsFourEvents) {
  const auto without_times = [this](const std::string& steps) {
    auto lines = Run({"--format", "json"}, steps).Json();
    for (json& line : lines) line.erase("time");
    return lines;
  };
  const auto lines = without_times("call\nhinge 30\nhang up\n");
  EXPECT_EQ(lines, without_times("announce 5\nstart 6\nhinge 30\nstop 6\nwithdraw 5\n"));
  EXPECT_NE(lines, without_times("announce 5\nstart 6\nhinge 30\nwithdraw 5\nstop 6\n"));
}

TEST_F(RunCommandTest, SaysWhatTheDspKeepsWhereNoCaseFits) {
  const std::string config =
      "HingeAngle:0,60|LeftChannel:a.txt|RightChannel:a.txt "
      "HingeAngle:121,180|LeftChannel:c.txt|RightChannel:c.txt";
  const std::string none = "no case fits: the DSP has had no corrections of a case\n";
  const struct {
    std::string steps;
    std::string says;  // what is said of it, in all
  } table[] = {
      {"hinge 90\n", ""},
      {"call\nhinge 30\nhinge 150\n", none},  // before the first reading
      {"hinge 30\ncall\nhinge 90\n", "no case fits: the DSP keeps case 0\n"},
      {"hinge 30\ncall\nhinge 90\nhinge 90\nstart 7\n", "no case fits: the DSP keeps case 0\n"},
      {"hinge 150\ncall\nhang up\nhinge 90\ncall\n", "no case fits: the DSP keeps case 1\n"},
      {"hinge 30\ncall\ndsp refuse 1 -5\nhinge 150\nhinge 90\n",
       "no case fits: the DSP keeps case 0\n"},
      {"hinge 90\ndsp refuse 1 -5\ncall\nhinge 91\n", ""},
  };
  for (const auto& [steps, says] : table) {
    const Outcome outcome =
        RunTavi({"run", "--config-text", config, "--data-root", folder_.path("etc")}, steps);
    std::string said;
    for (const std::string& line : Lines(outcome.out)) {
      const size_t at = line.find("no case fits");
      if (at != std::string::npos) said += line.substr(at) + "\n";
    }
    EXPECT_EQ(said, says) << steps;
  }
}

TEST_F(RunCommandTest, TakesAScenarioFromAFileOrFromStandardInput) {
  const std::string steps = std::string(kCall) +
                            "expect writes 1   # the corrections\n"
                            "expect case 0\n"
                            "expect status 1\n"
                            "hinge 100\n"
                            "expect case 1     # plays the files of case 0\n"
                            "hinge 181\n"
                            "expect no write\n"
                            "say the end\n"
                            "stop 6\n"
                            "expect status 0\n"
                            "expect log use case event 22";
  folder_.Write("call.scenario", steps);
  for (const Outcome& outcome : {Run({"--scenario", folder_.path("call.scenario")}, "fold\n"),
                                 Run({}, steps), Run({"--scenario", "-"}, steps),
                                 Run({}, steps + "\nhelp\n quit # that was it\r\nfold\n")}) {
    EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\nthe end\n"));
    EXPECT_THAT(Lines(outcome.out).back(), HasSubstr("7 expectations: all as expected"));
  }
}

TEST_F(RunCommandTest, NamesTheLineOfEachExpectationThatIsNotMet) {
  const std::pair<std::string, std::string> lines[] = {
      {"expect case 0", "the DSP has accepted no corrections yet"},
      {"expect status 1", "the DSP was never sent a status"},
      {"expect init -1", "it returned 0"},
      {"expect no handle", "init handed out a context"},
      {"announce 5", ""},
      {"expect write", "the last event made 0 writes"},
      {"start 6", ""},
      {"expect no write", "the last event made 1 write"},
      {"expect writes 3", "the last event made 1 write"},
      {"expect status 0", "it is 1"},
      {"expect log no such line", "no line logged during the last event contains that"},
      {"hinge 100", ""},
      {"expect case 0", "those that the DSP accepted last are of case 1"},
      {"expect case 1", ""},
  };
  const std::string file = folder_.path("x.scenario");
  std::string steps;
  Strings expected;
  int number = 0;
  for (const auto& [step, failure] : lines) {
    steps += step + "\n";
    ++number;
    if (failure.empty()) continue;
    std::ostringstream report;
    report << file << ":" << number << ": " << step << ": " << failure;
    expected.push_back(report.str());
  }
  folder_.Write("x.scenario", steps);
  const Outcome outcome = Run({"--scenario", file}, "");
  EXPECT_EQ(outcome.exit_code, 1);
  Strings broken;
  for (const std::string& line : Lines(outcome.out)) {
    const size_t at = line.find("BROKEN  ");
    if (at != std::string::npos) broken.push_back(line.substr(at + 8));
  }
  EXPECT_EQ(broken, expected);
  EXPECT_THAT(Lines(outcome.out).back(), HasSubstr("11 expectations: 10 failures"));
}

TEST_F(RunCommandTest, NoBytesOfAStepInstructTheTerminal) {
  const Outcome outcome = Run({}, "say \033[2Jhello\nannounce 5\nexpect log \033[2J\n");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("\n\\x1b[2Jhello\n"), HasSubstr("expect log \\x1b[2J: "),
                                 Not(HasSubstr("\033"))));
}

TEST_F(RunCommandTest, PlaysFaultsAsTheScenarioSays) {
  const std::pair<const char*, const char*> cases[] = {
      {"memory", "refuse memory\nexpect init -12\nexpect no handle\nexpect log fail to allocate\n"},
      {"common client",
       "refuse common-client -11\ninit\nexpect init -1\nexpect no handle\nexpect log (-11)\n"},
      {"use-case client, ignored by the module",
       "refuse usecase-client 3\nexpect init 0\nannounce 5\nstart 6\nexpect no write\n"
       "raw usecase 21 6\nexpect no write\n"},
      {"sensor, then a second start",
       "refuse sensor -5\ninit\nexpect init -1\nexpect no handle\ninit\nexpect init 0\n"
       "announce 5\nstart 6\nhinge 30\nexpect case 0\ndeinit\n"},
      {"DSP refuses",
       "announce 5\ndsp refuse 1 -5\nstart 6\nexpect writes 1\nexpect log fail to update tuning\n"
       "hinge 30\nexpect case 0\n"},
      {"DSP absent",
       "announce 5\ndsp absent\nstart 6\nexpect no write\nexpect log fail to update tuning\n"
       "dsp present\nstop 6\nexpect status 0\n"},
      {"raw events",
       "raw common 99\nexpect log unsupported event 99\n"
       "raw usecase 23 6\nexpect log use case event: unsupported event 23\n"
       "raw common 2 null\nexpect log common event 2\nraw usecase 21 null\n"
       "raw common 2 6\nraw usecase 21 7\nexpect status 1\nraw hinge 30\nexpect case 0\n"
       "raw hinge 2147483647\nexpect no write\n"},
      {"events of no interest, or after deinit",
       "start 6\nannounce 4\nexpect no write\ndeinit\nannounce 5\nexpect no write\ndump\n"
       "raw common 2 5\nraw usecase 22 6\nraw hinge 3\n"},
  };
  for (const auto& [name, steps] : cases) {
    const Outcome outcome = Run({}, steps);
    EXPECT_EQ(outcome.exit_code, 0) << name << "\n" << outcome.out << outcome.err;
  }
}

TEST_F(RunCommandTest, WaitsAndSlowWritesTakeTheirTime) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Run({}, "dsp slow 50ms\nannounce 5\nstart 6\nexpect write\nwait 50ms\n").exit_code, 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(RunCommandTest, LogsFromTheLevelAskedForOn) {
  const auto out = [this](const char* level) { return Run({"--log-level", level}, kCall).out; };
  EXPECT_THAT(out("verbose"), AllOf(HasSubstr("log   INFO"), HasSubstr("log   ERROR")));
  EXPECT_THAT(out("info"), AllOf(HasSubstr("log   INFO"), HasSubstr("log   ERROR")));
  EXPECT_THAT(out("warning"), AllOf(Not(HasSubstr("log   INFO")), HasSubstr("log   ERROR")));
  EXPECT_THAT(out("none"), AllOf(Not(HasSubstr("log   ")), HasSubstr("case 0")));
}

TEST_F(RunCommandTest, HandsTheConfigurationOverAsItStands) {
  // A text that the module refuses is logged as the module got it, line by line.
  const auto logged = [](const Strings& source) {
    return RunTavi({"run", "--format", "json", source[0], source[1]}).Texts("log");
  };
  const std::string warning = "GetConfiginvalid name and value ";
  const std::string error = "compensation_init: invalid parameters ";
  const auto run_file = [&](const std::string& content) {
    folder_.Write("odd.conf", content);
    return logged({"--config", folder_.path("odd.conf")});
  };
  using testing::ElementsAre;
  EXPECT_THAT(run_file("\tx"), ElementsAre(warning + "\tx", error + "\tx"));
  EXPECT_THAT(run_file("\tx\n"), ElementsAre(warning + "\tx", error + "\tx"));
  EXPECT_THAT(run_file("x\r\n"), ElementsAre(warning + "x\r", error + "x\r"));
  EXPECT_THAT(run_file("x\n\n"), ElementsAre(warning + "x", "", error + "x", ""));
  EXPECT_THAT(run_file("x\ny"), ElementsAre(warning + "x", "y", error + "x", "y"));
  EXPECT_THAT(run_file(""), ElementsAre(error));
  EXPECT_THAT(logged({"--config-text", "x\n"}), ElementsAre(warning + "x", "", error + "x", ""));
  EXPECT_THAT(logged({"--config-text", ""}), ElementsAre(error));
}

TEST_F(RunCommandTest, ACaptureTakesThePlaceOfNothingElse) {
  folder_.Write("call.scenario", "announce 5\nstart 6\nhinge 30\n");
  folder_.Write("notes", "notes");
  const auto run = [this](const std::string& capture, const Strings& more,
                          const std::string& redirection = "") {
    Strings arguments = {"--scenario", folder_.path("call.scenario"), "--capture", capture};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTavi(Arguments(arguments), "", redirection);
  };
  for (const std::string name : {"call.scenario", "device.conf", "etc/a.txt"}) {
    const std::string before = ReadFile(folder_.path(name));
    EXPECT_EQ(run(folder_.path(name), {"--force"}).exit_code, 2) << name;
    EXPECT_EQ(ReadFile(folder_.path(name)), before);
  }
  EXPECT_THAT(run(TAVI_MODULE_FILE, {"--module", TAVI_MODULE_FILE, "--force"}).err,
              HasSubstr("is the module"));
  EXPECT_THAT(run(folder_.path("notes"), {}).err, HasSubstr("--force replaces it"));
  EXPECT_EQ(ReadFile(folder_.path("notes")), "notes");
  EXPECT_EQ(run(folder_.path("notes"), {"--force"}).exit_code, 0);
  EXPECT_EQ(run(folder_.path("notes"), {}).exit_code, 0);  // a capture now
  const std::string capture = ReadFile(folder_.path("notes"));
  // Nor does what is meant for a closed descriptor go there.
  EXPECT_EQ(run(folder_.path("notes"), {}, ">&-").exit_code, 2);
  EXPECT_EQ(ReadFile(folder_.path("notes")), capture);
}

TEST_F(RunCommandTest, NothingThatMayHaveNoEndIsWaitedFor) {
  mkfifo(folder_.path("etc/fifo").c_str(), 0600);
  const std::string text = "HingeAngle:0,90|LeftChannel:fifo|RightChannel:a.txt";
  const Strings root = {"--data-root", folder_.path("etc")};
  const std::pair<Strings, const char*> rows[] = {
      {{"run", "--config-text", text}, "waits until somebody writes"},
      {{"decode", "/dev/null", "--config-text", text}, "waits until somebody writes"},
      {{"check", "--config", folder_.path("etc/fifo")}, "is a pipe"},
      {{"run", "--config-text", "a", "--scenario", "/dev/zero"}, "is a device"},
      {{"decode", folder_.path("etc/fifo"), "--config-text", "a"}, "is a pipe"},
      {{"diagnose", folder_.path("etc/fifo"), "--config-text", "a"}, "is a pipe"},
  };
  for (const auto& [arguments, reason] : rows) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    Strings all = arguments;
    all.insert(all.end(), root.begin(), root.end());
    const Outcome outcome = RunTavi(all);
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_THAT(outcome.err, HasSubstr(reason));
  }
  EXPECT_EQ(RunTavi({"report", "-o", "-", "--config-text", text, root[0], root[1]}).exit_code, 0);
  // What the shell hands over is read.
  EXPECT_EQ(RunTavi({"check", "--config", "/dev/stdin", "--data-root", folder_.path("etc")},
                    ReadFile(folder_.path("device.conf")))
                .exit_code,
            RunTavi({"check", "--config", folder_.path("device.conf"), "--data-root",
                     folder_.path("etc")})
                .exit_code);
}

TEST_F(RunCommandTest, SaysWhatIsWrongWithTheCommandLine) {
  const std::string conf = folder_.path("device.conf");
  folder_.Write("null.conf", std::string("ab\0c\n", 5));
  std::string foreign = ReadFile(TAVI_MODULE_FILE);
  foreign[18] = '\x2a';  // the machine of an ELF header
  foreign[19] = '\0';
  folder_.Write("foreign.so", foreign);
  // Exists for everyone and cannot be read from the start by anyone.
  const std::string unreadable = "/proc/self/mem";
  const std::pair<Strings, Strings> cases[] = {
      {{}, {"a command is needed: run, decode, "}},
      {{"chekc"}, {"\"chekc\" is no command; did you mean check?"}},
      {{"check", "device.conf"}, {"tavi check --config device.conf"}},
      {{"check", "--confg", "x"}, {"no option \"--confg\"; did you mean --config?"}},
      {{"check", "\033[2J"}, {"\\x1b[2J"}},
      {{"run"}, {"--config", "--config-text"}},
      {{"run", "--config", conf, "--config-text", "x"}, {"--config", "--config-text"}},
      {{"run", "--config", conf, "--format", "xml"}, {"--format", "xml"}},
      {{"run", "--config", conf, "--log-level", "loud"}, {"--log-level", "loud", "warning"}},
      {{"run", "--config", ""}, {"cannot be read"}},
      {{"run", "--config", "nowhere.conf"}, {"nowhere.conf", "No such file"}},
      {{"run", "--config", folder_.path()}, {folder_.path(), "is a folder"}},
      {{"run", "--config", folder_.path("null.conf")}, {"null.conf: byte 3 is a null character"}},
      {{"run", "--config", unreadable}, {unreadable, "cannot be read"}},
      {{"run", "--config", conf, "--data-root", "nowhere"}, {"nowhere", "is no folder"}},
      {{"run", "--config", conf, "--data-root", conf}, {conf, "is no folder"}},
      {{"run", "--config", conf, "--scenario", "nowhere"}, {"nowhere", "No such file"}},
      {{"run", "--config", conf, "--scenario", folder_.path()}, {folder_.path(), "is a folder"}},
      {{"run", "--config", conf, "--capture", "/nowhere/x"}, {"/nowhere/x", "cannot be written"}},
      {{"run", "--config", conf, "--module", "nowhere.so"}, {"nowhere.so", "cannot be loaded"}},
      {{"run", "--config", conf, "--module", conf}, {conf, "cannot be loaded"}},
      {{"run", "--config", conf, "--module", TAVI_OTHER_LIBRARY_FILE},
       {TAVI_OTHER_LIBRARY_FILE, "HAL_PLATFORM_EXT_AUD_MODULE"}},
      {{"run", "--config", conf, "--module", folder_.path("foreign.so")}, {"another machine"}},
      {{"decode"}, {"capture"}},
      {{"decode", "nowhere"}, {"nowhere: cannot be read: No such file"}},
      {{"decode", folder_.path()}, {folder_.path(), "is a folder"}},
      {{"decode", "/dev/null", "--config", "nowhere.conf"}, {"nowhere.conf"}},
      {{"run", "--config", conf, "--module", TAVI_FOREIGN_MODULE_FILE},
       {TAVI_FOREIGN_MODULE_FILE, "version 67, expected 66"}},
  };
  for (const auto& [arguments, reasons] : cases) {
    const Outcome outcome = RunTavi(arguments);
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.out, "");
    for (const std::string& reason : reasons) EXPECT_THAT(outcome.err, HasSubstr(reason));
  }
  for (const char* const asking : {"--help", "--version"}) {
    EXPECT_EQ(RunTavi({asking}, "", ">/dev/full").exit_code, 2);
    const Outcome outcome = RunTavi({asking});
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.out, HasSubstr("tavi"));
    EXPECT_EQ(outcome.err, "");
  }
}

TEST_F(RunCommandTest, ABadLineInAFileIsFoundBeforeAnythingIsPlayed) {
  folder_.Write("bad.scenario", "announce 5\n\nhinge wide\nfold\n");
  const Outcome outcome = Run({"--scenario", folder_.path("bad.scenario")}, "");
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "tavi: " + folder_.path("bad.scenario") +
                             ":3: \"wide\" is no number; expected an angle in degrees\n");
}

TEST_F(RunCommandTest, ABadLineInAPipeEndsTheRun) {
  const std::pair<const char*, const char*> cases[] = {
      {"fold", "\"fold\" is no step"},
      // Steps that cannot be played now.
      {"refuse memory", "the module is initialised already"},
      {"init", "the module is initialised already"},
      {"deinit\ndeinit", "there is no context"},
      {"expect case 9", "there is no case 9: the module takes 3 cases"},
  };
  for (const auto& [line, reason] : cases) {
    const Outcome outcome = Run({}, std::string("announce 5\n# comment\n") + line + "\nstart 6\n");
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_THAT(outcome.err, AllOf(StartsWith("tavi: standard input:"), HasSubstr(reason)));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("announce 5"), Not(HasSubstr("start 6"))));
  }
}

TEST_F(RunCommandTest, NothingIsLostInSilence) {
  const Outcome unread = RunTavi(Arguments({}), "", "<" + folder_.path());
  EXPECT_EQ(unread.exit_code, 2);
  EXPECT_THAT(unread.err, HasSubstr("standard input: cannot be read"));

  const Outcome unwritten = RunTavi(Arguments({}), kCall, ">/dev/full");
  EXPECT_EQ(unwritten.exit_code, 2);
  EXPECT_THAT(unwritten.err, HasSubstr("standard output"));

  folder_.Write("capture", StatusMessage(1));
  const Outcome undecoded = RunTavi({"decode", folder_.path("capture")}, "", ">/dev/full");
  EXPECT_EQ(undecoded.exit_code, 2);
  EXPECT_THAT(undecoded.err, HasSubstr("standard output"));

  const Outcome uncaptured = Run({"--capture", "/dev/full"}, kCall);
  EXPECT_EQ(uncaptured.exit_code, 2);
  EXPECT_THAT(uncaptured.err, HasSubstr("/dev/full"));
}

}  // namespace

}  // namespace brelmo::tavi::test
