// tavi stress: that it repeats itself, what it plays, and that the module stands it.
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "command.h"
#include "process/child_process.h"
#include "stress/episode.h"
#include "stress/shrink.h"

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using tools::ChildEnd;
using tools::Episode;
using tools::MakeEpisode;
using tools::ScenarioText;

TEST(StressTest, TheSameNumbersMakeTheSameEpisode) {
  const auto text = [](uint64_t seed, uint64_t number) {
    const Episode episode = MakeEpisode(seed, number);
    return episode.Config() + "\n" + ScenarioText(episode);
  };
  const std::string one = text(5, 3);
  EXPECT_EQ(text(5, 3), one);
  EXPECT_NE(text(5, 4), one);
  EXPECT_NE(text(6, 3), one);
}

// Without these in it, it would hold of any module.
TEST(StressTest, EpisodesHaveEverythingInThem) {
  std::string all;
  for (uint64_t number = 0; number < 20; ++number) all += ScenarioText(MakeEpisode(1, number));
  for (const char* const step :
       {"expect status 1\n", "expect status 0\n", "expect case 0\n", "expect case 3\n",
        "expect writes 2\n", "dsp refuse 3 1\n", "dsp slow 200us\n", "dsp absent\n",
        "dsp present\n", "deinit\n", "dump\n", "hinge 181\n", "rotation -90\n", "withdraw 5\n",
        "raw common 3 5\n", "raw usecase 20 6\n", "raw usecase 21 7\n"}) {
    EXPECT_THAT(all, HasSubstr(step));
  }
}

TEST(StressTest, TheModuleStandsIt) {
  const Outcome outcome = RunTavi({"stress", TAVI_MODULE_FILE, "--seconds", "1", "--seed", "11"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("seed 11\n"), HasSubstr(" held (")));
  EXPECT_EQ(outcome.err, "");
}

// The whole way to a scenario, with a module that dies of a value that is announced.
TEST(StressTest, ADeathBecomesAShortScenario) {
  const TemporaryFolder folder;
  const Outcome outcome = RunTavi({"stress", TAVI_DYING_MODULE_FILE, "--seed", "1", "--patience",
                                   "1", "-o", folder.path("found")});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("FAILED"), HasSubstr("fail in a run, too:\n  tavi run ")));
  const Outcome run =
      RunTavi({"run", "--module", TAVI_DYING_MODULE_FILE, "--config",
               folder.path("found/device.conf"), "--data-root", folder.path("found/etc"),
               "--scenario", folder.path("found/stress.scenario")});
  EXPECT_EQ(run.exit_code, 1) << run.out << run.err;
}

std::vector<ChildEnd> RunAll(size_t count, const tools::ChildWork& work) {
  std::vector<ChildEnd> ends(count);
  tools::ChildLimits limits;
  limits.jobs = 2;
  limits.time = std::chrono::seconds(2);
  tools::RunChildren(count, limits, work,
                     [&ends](size_t index, const ChildEnd& end) { ends[index] = end; });
  return ends;
}

TEST(ChildProcessTest, TellsHowEachEnded) {
  const auto ends = RunAll(4, [](size_t index, tools::ChildReport& report) {
    report.Add("report " + std::to_string(index));
    report.Set("activity " + std::to_string(index));
    if (index == 1) std::exit(0);  // before the work is done
    if (index == 2) throw std::runtime_error("no reason");
    if (index == 3) std::this_thread::sleep_for(std::chrono::seconds(60));
    return 5;
  });
  using How = ChildEnd::How;
  const How expected[] = {How::kReturned, How::kDied, How::kDied, How::kTimedOut};
  for (size_t i = 0; i < ends.size(); ++i) {
    EXPECT_EQ(ends[i].how, expected[i]) << i;
    EXPECT_EQ(ends[i].report, "report " + std::to_string(i));
    EXPECT_EQ(ends[i].activity, "activity " + std::to_string(i));
  }
  EXPECT_EQ(ends[0].result, 5);
  EXPECT_THAT(ends[2].output, HasSubstr("no reason"));
  EXPECT_LT(ends[3].time.count(), 30);
}

}  // namespace

}  // namespace brelmo::tavi::test
