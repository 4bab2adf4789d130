#include "process/child_process.h"
#include "process/machine_error.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace brelmo::tavi::test {

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using tools::ChildEnd;
using tools::ChildLimits;
using tools::ChildReport;
using How = tools::ChildEnd::How;

ChildLimits Quick() {
  ChildLimits limits;
  limits.jobs = 2;
  limits.time = std::chrono::seconds(2);
  return limits;
}

TEST(ChildProcessTest, TellsHowEachEnded) {
  std::vector<ChildEnd> ends(4);
  tools::RunChildren(ends.size(), Quick(),
                     [](size_t index, ChildReport& report) {
                       report.Add("report " + std::to_string(index));
                       report.Set("activity " + std::to_string(index));
                       if (index == 1) std::exit(0);  // before the work is done
                       if (index == 2) throw std::runtime_error("no reason");
                       if (index == 3) std::this_thread::sleep_for(std::chrono::seconds(60));
                       return 5;
                     },
                     {[&ends](size_t index, const ChildEnd& end) { ends[index] = end; }});
  const How expected[] = {How::kReturned, How::kDied, How::kDied, How::kTimedOut};
  for (size_t i = 0; i < ends.size(); ++i) {
    EXPECT_EQ(ends[i].how, expected[i]) << i;
    EXPECT_EQ(ends[i].report, "report " + std::to_string(i));
    EXPECT_EQ(ends[i].activity, i == 0 ? "its unloading" : "activity " + std::to_string(i));
    EXPECT_EQ(ends[i].result, i == 0 ? std::optional<int>(5) : std::nullopt);
  }
  EXPECT_THAT(ends[2].output, HasSubstr("no reason"));
  EXPECT_LT(ends[3].time.count(), 30);
}

TEST(ChildProcessTest, TellsTheSignalOrTheExitCode) {
  const std::pair<int, std::string> signals[] = {
      {SIGABRT, "crashed (SIGABRT, Aborted)"},
      {SIGKILL, "crashed (SIGKILL, Killed)"},
      {SIGRTMIN + 1, "crashed (signal " + std::to_string(SIGRTMIN + 1) + ")"},  // has no name
  };
  for (const auto& [number, death] : signals) {
    const ChildEnd end = RunChild(Quick(), [number = number](ChildReport& report) {
      report.Set("begin " + std::string(100000, 'x'));
      return std::raise(number);
    });
    EXPECT_EQ(end.how, How::kDied);
    EXPECT_EQ(end.death, death);
    EXPECT_THAT(end.activity, StartsWith("begin xxx"));
  }
  EXPECT_EQ(RunChild(Quick(), [](ChildReport&) -> int { _exit(7); }).death,
            "ended the process (exit code 7)");
}

TEST(ChildProcessTest, AStepOrTheEndThatTakesTooLongIsBounded) {
  ChildLimits limits;
  limits.time.reset();
  limits.end_time = std::chrono::milliseconds(300);
  const auto sleep = [] { std::this_thread::sleep_for(std::chrono::seconds(60)); };
  const ChildEnd step = RunChild(limits, [&](ChildReport& report) {
    report.Set("quick", std::chrono::hours(1));
    report.Set("slow", std::chrono::milliseconds(300));
    sleep();
    return 0;
  });
  EXPECT_EQ(step.how, How::kTimedOut);
  EXPECT_EQ(step.activity, "slow");
  const ChildEnd end = RunChild(limits, [&](ChildReport&) {
    std::atexit([] { std::this_thread::sleep_for(std::chrono::seconds(60)); });
    return 0;
  });
  EXPECT_EQ(end.how, How::kTimedOut);
  EXPECT_EQ(end.result, 0);
}

TEST(ChildProcessTest, WhatTheMachineLacksIsNobodysResult) {
  const auto run = [](const std::function<void()>& fail) {
    try {
      RunChild(Quick(), [&](ChildReport&) {
        fail();
        return 0;
      });
    } catch (const tools::MachineError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_THAT(run([] { throw tools::MachineError("/x: cannot be written", ENOSPC); }),
              testing::AllOf(StartsWith("/x: cannot be written: No space"), HasSubstr("TMPDIR")));
  EXPECT_THAT(run([] { throw std::bad_alloc(); }), HasSubstr("memory"));
  EXPECT_THAT(run([] { throw std::system_error(EAGAIN, std::generic_category(), "thread"); }),
              HasSubstr("ulimit -u"));
}

}  // namespace

}  // namespace brelmo::tavi::test
