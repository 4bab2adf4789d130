// Modules that misuse their process, and machines that lack something.
#include <algorithm>
#include <filesystem>

#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::StartsWith;

Outcome RunHostile(const std::string& way, const Strings& more, const std::string& input = "") {
  Strings arguments = {"run",
                       "--module",
                       TAVI_HOSTILE_MODULE_FILE,
                       "--config-text",
                       "x",
                       "--data-root",
                       "/",
                       "--patience",
                       "1",
                       "--log-level",
                       "none"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunTavi(arguments, input, "", "HOSTILE=" + way);
}

TEST(HostileModuleTest, ARunTellsWhatTheModuleDoesToItsProcess) {
  const struct {
    const char* way;
    const char* steps;
    int exit_code;
    const char* told;
  } cases[] = {
      {"nothing", "", 0, "all as expected"},
      {"exit-in-handler", "expect init 3", 1, "ended the process (exit code 0) during: its unload"},
      {"exit-in-destructor", "expect init 3", 1, "ended the process (exit code 0)"},
      {"crash-in-destructor", "", 1, "crashed (SIGABRT, Aborted) during: its unloading"},
      {"hang-in-destructor", "", 1, "did not return from: its unloading"},
      {"hang-in-constructor", "", 1, "did not return from: loading "},
      {"close-standard", "dump\nexpect init 0", 0, "1 expectation: all as expected"},
      {"close-all", "dump", 1, "its descriptors had been closed"},
      {"close-dump", "dump", 1, "dump closed the descriptor that it was given"},
      {"dump-much", "dump", 1, "dump wrote 16 MiB or more"},
      {"print", "", 0, "print {\"printed\": \\x1b[31m\n"},
      {"print-much", "", 0, "it prints more than 1 MiB"},
      {"daemon", "", 0, "all as expected"},
  };
  for (const auto& [way, steps, exit_code, told] : cases) {
    const Outcome outcome = RunHostile(way, {}, steps);
    EXPECT_EQ(outcome.exit_code, exit_code) << way << "\n" << outcome.out.substr(0, 2000);
    EXPECT_THAT(outcome.out, HasSubstr(told)) << way;
    EXPECT_EQ(outcome.err, "") << way;
  }
}

TEST(HostileModuleTest, WhatItPrintsIsALineOfTheJson) {
  const Outcome outcome = RunHostile("print", {"--format", "json"});
  EXPECT_THAT(outcome.Texts("print"), testing::ElementsAre("{\"printed\": \033[31m"));
}

TEST(HostileModuleTest, NothingThatItStartsStays) {
  RunHostile("daemon", {});
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    EXPECT_NE(ReadFile(entry.path() / "comm"), "tavi-daemon\n") << entry.path();
  }
}

TEST(HostileModuleTest, ItsVerdictIsNotItsOwn) {
  for (const char* const way : {"exit-in-handler", "exit-in-destructor", "hang-in-destructor"}) {
    const Outcome outcome = RunTavi({"validate", TAVI_HOSTILE_MODULE_FILE, "--only", "init.m*",
                                     "--format", "json", "--patience", "1"},
                                    "", "", std::string("HOSTILE=") + way);
    EXPECT_EQ(outcome.exit_code, 1) << way;
    EXPECT_EQ(outcome.Json().back()["held"], 0) << way << outcome.out;
    const Outcome stress = RunTavi(
        {"stress", TAVI_HOSTILE_MODULE_FILE, "--seconds", "0", "--patience", "1", "-o", "found"},
        "", "", std::string("HOSTILE=") + way);
    EXPECT_NE(stress.exit_code, 0) << way << stress.out;
  }
}

// The module is a good one: the machine is named, and no verdict is given.
TEST(PoorMachineTest, IsNoFaultOfTheModule) {
  const struct {
    const char* before;  // in the shell
    const char* resource;
  } cases[] = {
#ifndef TAVI_SANITIZED
      // A sanitizer's own memory would not fit.
      {"ulimit -v 200000;", "ulimit -v"},
      {"ulimit -s 100;", "ulimit -s"},
#endif
      {"ulimit -n 20;", "ulimit -n"},
      {"TMPDIR=/proc; export TMPDIR;", "TMPDIR"},
      {"TMPDIR=/nowhere; export TMPDIR;", "TMPDIR"},
  };
  for (const auto& [before, resource] : cases) {
    for (const char* const command : {"validate", "stress"}) {
      const Strings arguments = command == std::string("stress")
                                    ? Strings{command, TAVI_MODULE_FILE, "--seconds", "0"}
                                    : Strings{command, TAVI_MODULE_FILE, "--only", "dump.text"};
      const Outcome outcome = RunTavi(arguments, "", "", before);
      EXPECT_EQ(outcome.exit_code, 2) << before << outcome.out << outcome.err;
      EXPECT_THAT(outcome.err, AllOf(StartsWith("tavi: "), HasSubstr(resource)));
    }
  }
}

TEST(PoorMachineTest, ALimitOfProcessorTimeIsNamed) {
  const Outcome outcome = RunTavi({"validate", TAVI_HOSTILE_MODULE_FILE, "--only", "init.m*"}, "",
                                  "", "ulimit -t 2; export HOSTILE=spin;");
  EXPECT_EQ(outcome.exit_code, 2) << outcome.out;
  EXPECT_THAT(outcome.err, HasSubstr("ulimit -t"));
}

#ifndef TAVI_SANITIZED
TEST(PoorMachineTest, WhatThereIsNoMemoryForIsNamed) {
  const tools::ScratchFolder folder;
  std::string cases;
  for (int i = 0; i < 4000000; ++i) cases += "x ";
  folder.Write("large.conf", cases);
  const Outcome outcome =
      RunTavi({"check", "--config", folder.path("large.conf")}, "", "", "ulimit -v 200000;");
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("large.conf"), HasSubstr("ulimit -v")));
}
#endif

// A parent may ignore the end of children, which their children inherit.
TEST(PoorMachineTest, AnIgnoredEndOfAChildIsSeenAllTheSame) {
  const Outcome outcome = RunTavi({"run", "--config-text", "x", "--data-root", "/"},
                                  "expect init 3\n", "", "trap '' CHLD;");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("1 failure"));
}

TEST(PoorMachineTest, AnEndlessLineIsRefused) {
  const Outcome outcome =
      RunTavi({"run", "--config-text", "x", "--data-root", "/"}, std::string(200000, 'x'));
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.err, HasSubstr("standard input:1: has more than 65536 bytes"));
}

// Stopped for longer than the module may take, then continued, or interrupted.
TEST(PoorMachineTest, TimeInWhichTaviIsStoppedDoesNotCount) {
  const Outcome outcome =
      RunTavi({"-c",
               "\"$0\" validate \"$1\" --only threads --patience 1 >log 2>&1 & pid=$!; sleep 0.4; "
               "kill -TSTP $pid; sleep 4; kill -CONT $pid; wait $pid; code=$?; cat log; exit $code",
               TAVI_COMMAND_FILE, TAVI_MODULE_FILE},
              "", "", "", "/bin/bash");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.out;
}

TEST(PoorMachineTest, AnInterruptLeavesNothingBehind) {
  const tools::ScratchFolder temporary;
  for (const char* const command : {"validate", "stress"}) {
    const Outcome outcome = RunTavi(
        {"-c",
         std::string("export TMPDIR=\"$2\"; for wait in 0.1 0.2 0.3 0.5; do setsid \"$0\" ") +
             command +
             " \"$1\" >log 2>&1 & pid=$!; sleep $wait; kill -TERM $pid; wait $pid; echo $?; done",
         TAVI_COMMAND_FILE, TAVI_MODULE_FILE, temporary.path()},
        "", "", "", "/bin/bash");
    EXPECT_THAT(Lines(outcome.out), Each("143")) << command;
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path())) << command;
  }
}

}  // namespace

}  // namespace brelmo::tavi::test
