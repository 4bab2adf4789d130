// tavi run at a terminal.
#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using PromptTest = CommandTest;

TEST_F(PromptTest, HelpsAndSurvivesBadLines) {
  const Outcome outcome = RunAtTerminal("NO_COLOR=1", Arguments({}),
                                        "help\nfold\nannounce 5\nrefuse memory\n help \nstart 6\n"
                                        "expect status 1\nquit\n");
  EXPECT_EQ(outcome.exit_code, 0);
  const auto help = outcome.out.find("announce V");
  ASSERT_NE(help, std::string::npos);
  EXPECT_NE(outcome.out.find("announce V", help + 1), std::string::npos);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("tavi> "), HasSubstr("\"fold\" is no step"),
                                 HasSubstr("the module is initialised already"),
                                 HasSubstr("status (type 0): active"), HasSubstr("all as expected"),
                                 Not(HasSubstr("BROKEN")), Not(HasSubstr("\"help\" is no step"))));
}

TEST_F(PromptTest, AFailureShowsInTheExitCode) {
  const Outcome outcome = RunAtTerminal("NO_COLOR=1", Arguments({}), "expect status 1\n");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("BROKEN"), HasSubstr("1 failure")));
}

TEST_F(PromptTest, ColoursUnlessAskedNotTo) {
  const Strings arguments = Arguments({"--scenario", "/dev/null"});
  EXPECT_THAT(RunAtTerminal("NO_COLOR=", arguments, "").out, HasSubstr("\033["));
  EXPECT_THAT(RunAtTerminal("NO_COLOR=1", arguments, "").out,
              AllOf(HasSubstr("init"), Not(HasSubstr("\033["))));
}

TEST_F(PromptTest, HelpStaysOutOfJson) {
  const Outcome outcome =
      RunAtTerminal("", Arguments({"--format", "json"}), "help\nannounce 5\n", "2>/dev/null");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("{\"kind\":\"event\""), Not(HasSubstr("tavi>")),
                                 Not(HasSubstr("announce V")), Not(HasSubstr("\033["))));
}

TEST_F(PromptTest, ACrashIsReported) {
  const Outcome outcome =
      RunAtTerminal("", Arguments({"--module", TAVI_DYING_MODULE_FILE}), "announce 1\nquit\n");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("SIGSEGV"));
}

}  // namespace

}  // namespace brelmo::tavi::test
