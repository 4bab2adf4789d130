// Modules that end the process of a run, or never return.
#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

class BrokenModuleTest : public CommandTest {
 protected:
  Outcome RunDying(const std::string& config, const std::string& steps, const char* format) const {
    folder_.Write("dying.scenario", steps);
    return RunTavi({"run", "--module", TAVI_DYING_MODULE_FILE, "--config-text", config, "--format",
                    format, "--scenario", folder_.path("dying.scenario")});
  }
};

TEST_F(BrokenModuleTest, DeathIsReportedWithTheEventThatCausedIt) {
  const std::pair<const char*, const char*> cases[] = {
      {"announce 1", "SIGSEGV"},     {"announce 2", "SIGABRT"}, {"announce 3", "exit code 7"},
      {"announce 4", "exit code 0"}, {"announce 5", "signal"},
  };
  for (const auto& [step, how] : cases) {
    const std::string steps = std::string("announce 99\n") + step + "\nannounce 100\n";
    const auto report = AllOf(HasSubstr("the module"), HasSubstr(how),
                              HasSubstr(folder_.path("dying.scenario") + ":2: " + step));
    const Outcome text = RunDying("x", steps, "text");
    EXPECT_EQ(text.exit_code, 1) << step;
    EXPECT_THAT(Lines(text.out).back(), AllOf(HasSubstr("BROKEN"), report));
    const Outcome machine = RunDying("x", steps, "json");
    EXPECT_EQ(machine.exit_code, 1) << step;
    EXPECT_THAT(machine.Texts("violation"), testing::ElementsAre(report));
  }
}

TEST_F(BrokenModuleTest, DeathInInitIsReported) {
  EXPECT_EQ(RunDying("lives", "announce 99\n", "text").exit_code, 0);
  const Outcome outcome = RunDying("!", "hinge 5\n", "text");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(Lines(outcome.out).back(),
              AllOf(HasSubstr("BROKEN"), HasSubstr("SIGABRT"), HasSubstr("init")));
}

// Takes as long as the host is patient.
TEST_F(BrokenModuleTest, AModuleThatDoesNotReturnIsReportedOnce) {
  const Outcome outcome = RunDying("x", "announce 6\nannounce 99\n", "json");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.Texts("violation"),
              testing::ElementsAre(AllOf(HasSubstr("did not return"), HasSubstr("announce 6"))));
}

}  // namespace

}  // namespace brelmo::tavi::test
