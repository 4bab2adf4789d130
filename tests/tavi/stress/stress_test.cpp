// tavi stress: that it repeats itself, what it plays, and that the module stands it.
#include <string>

#include <gmock/gmock.h>

#include "command.h"
#include "stress/episode.h"
#include "stress/shrink.h"

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
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

TEST(StressTest, SaysWhyAModuleOfAnotherVersionIsNotPlayed) {
  const Outcome outcome = RunTavi({"stress", TAVI_FOREIGN_MODULE_FILE});
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("version 67, expected 66"), HasSubstr("build it for")));
}

// The whole way to a scenario, with a module that dies of a value that is announced.
TEST(StressTest, ADeathBecomesAShortScenario) {
  const tools::ScratchFolder folder;
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

}  // namespace

}  // namespace brelmo::tavi::test
