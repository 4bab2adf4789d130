#include "process/supervisor.h"

#include <csignal>
#include <cstdlib>

#include <utility>

#include <gmock/gmock.h>

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using tools::Activity;
using tools::RunSupervised;

struct Death {
  int result;
  std::string how;  // empty when nothing was reported
  std::string activity;
};

Death Supervise(const std::function<int(Activity&)>& work) {
  Death death;
  death.result = RunSupervised(work, [&death](const std::string& how, const std::string& activity) {
    EXPECT_EQ(death.how, "") << "reported twice";
    death.how = how;
    death.activity = activity;
  });
  return death;
}

TEST(SupervisorTest, ReturnsTheResult) {
  for (const int result : {0, 1, 2, 200}) {
    const Death death = Supervise([result](Activity& /*activity*/) { return result; });
    EXPECT_EQ(death.result, result);
    EXPECT_EQ(death.how, "");
  }
}

TEST(SupervisorTest, TellsHowItDiedAndOfWhat) {
  const std::pair<int, std::string> signals[] = {
      {SIGABRT, "SIGABRT, Aborted"},
      {SIGKILL, "SIGKILL, Killed"},
      {SIGRTMIN + 1, std::to_string(SIGRTMIN + 1)},  // has no name
  };
  for (const auto& [number, name] : signals) {
    const Death death = Supervise([number = number](Activity& activity) {
      activity.Set("file:2: announce 5");
      activity.Set("file:3: hinge 5");
      return std::raise(number);
    });
    EXPECT_EQ(death.result, 1);
    EXPECT_THAT(death.how, AllOf(StartsWith("crashed"), HasSubstr(name)));
    EXPECT_EQ(death.activity, "file:3: hinge 5");
  }
}

TEST(SupervisorTest, ExitInsideTheWorkIsADeath) {
  for (const int code : {0, 7}) {
    const Death death = Supervise([code](Activity& activity) -> int {
      activity.Set("begin " + std::string(100000, 'x'));
      std::exit(code);
    });
    EXPECT_EQ(death.result, 1);
    EXPECT_EQ(death.how, "ended the process (exit code " + std::to_string(code) + ")");
    EXPECT_THAT(death.activity, StartsWith("begin xxx"));
  }
}

}  // namespace

}  // namespace brelmo::tavi::test
