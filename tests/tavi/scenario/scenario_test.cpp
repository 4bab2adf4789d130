#include "scenario/scenario.h"

#include <sstream>

#include <gmock/gmock.h>

namespace brelmo::tavi::test {

namespace {

using simulator::HostEvent;
using testing::HasSubstr;
using tools::ParseScenario;
using tools::ParseStep;
using tools::ParseTime;
using tools::ScenarioError;
using tools::Step;

template <typename... Values>
std::string Join(const Values&... values) {
  std::ostringstream text;
  ((text << values << ' '), ...);
  return text.str().substr(0, text.str().size() - 1);
}

// A step's contents, enumerations by number.
struct Describe {
  std::string operator()(const tools::EventStep& step) const {
    const char* const sources[] = {"common", "usecase", "hinge"};
    const HostEvent& event = step.event;
    return Join(event.is_raw ? "raw" : "asked", sources[static_cast<int>(event.source)],
                event.number, event.value ? std::to_string(*event.value) : "null");
  }
  std::string operator()(const tools::CallStep& step) const { return Join("call", step.begins); }
  std::string operator()(const tools::InitStep& /*step*/) const { return "init"; }
  std::string operator()(const tools::DeinitStep& /*step*/) const { return "deinit"; }
  std::string operator()(const tools::DumpStep& /*step*/) const { return "dump"; }
  std::string operator()(const tools::WaitStep& step) const {
    return Join("wait", step.time.count());
  }
  std::string operator()(const tools::SayStep& step) const { return "[" + step.text + "]"; }
  std::string operator()(const tools::DspStep& step) const {
    return Join("dsp", static_cast<int>(step.what), step.count, step.code, step.delay.count());
  }
  std::string operator()(const tools::RefuseStep& step) const {
    return Join("refuse", static_cast<int>(step.what), step.code);
  }
  std::string operator()(const tools::ExpectStep& step) const {
    return Join("expect", static_cast<int>(step.what), step.number, "[" + step.text + "]");
  }
};

TEST(ScenarioTest, EveryStep) {
  const std::pair<const char*, const char*> cases[] = {
      {"announce 5", "asked common 2 5"},
      {"withdraw 6", "asked common 4 6"},
      {"start 23", "asked usecase 21 23"},
      {"stop 24", "asked usecase 22 24"},
      {"call", "call 1"},
      {"hang up", "call 0"},
      {"rotation 270", "asked common 8 270"},
      {"hinge 180", "asked hinge 0 180"},
      {"raw common 99", "raw common 99 0"},
      {"raw common -1 null", "raw common -1 null"},
      {"raw usecase 21 0x17", "raw usecase 21 23"},
      {"raw usecase 22 null", "raw usecase 22 null"},
      {"raw hinge -1", "raw hinge 0 -1"},
      {"init", "init"},
      {"deinit", "deinit"},
      {"dump", "dump"},
      {"wait 25ms", "wait 25000"},
      {"play 2.5", "wait 2500000"},
      {"play 300ms", "wait 300000"},
      {"say two  blanks", "[two  blanks]"},
      {"say", "[]"},
      {"dsp refuse 2 -5", "dsp 0 2 -5 0"},
      {"dsp slow 1.5s", "dsp 1 0 0 1500000"},
      {"dsp absent", "dsp 2 0 0 0"},
      {"dsp present", "dsp 3 0 0 0"},
      {"refuse memory", "refuse 0 0"},
      {"refuse common-client -11", "refuse 1 -11"},
      {"refuse usecase-client 1", "refuse 2 1"},
      {"refuse sensor 0x10", "refuse 3 16"},
      {"expect write", "expect 0 0 []"},
      {"expect no write", "expect 1 0 []"},
      {"expect writes 2", "expect 2 2 []"},
      {"expect case 0", "expect 3 0 []"},
      {"expect status 1", "expect 4 1 []"},
      {"expect log a  b", "expect 5 0 [a  b]"},
      {"expect init -12", "expect 6 -12 []"},
      {"expect no handle", "expect 7 0 []"},
      // Numbers: any 32 bits.
      {"announce 4294967295", "asked common 2 -1"},
      {"announce 0xFFFFFFFF", "asked common 2 -1"},
      {"announce 0X7fffffff", "asked common 2 2147483647"},
      {"announce -2147483648", "asked common 2 -2147483648"},
      {"announce 010", "asked common 2 10"},
      // Blanks and comments.
      {"\t hinge\t 30 \r", "asked hinge 0 30"},
      {"hinge 30 # half open", "asked hinge 0 30"},
      {"hinge 30\t#", "asked hinge 0 30"},
      {"say number#1 # that", "[number#1]"},
  };
  for (const auto& [line, expected] : cases) {
    SCOPED_TRACE(line);
    std::optional<Step> step;
    ASSERT_NO_THROW(step = ParseStep(line, 12));
    ASSERT_TRUE(step);
    EXPECT_EQ(std::visit(Describe(), step->action), expected);
    EXPECT_EQ(step->line, 12);
  }
  EXPECT_EQ(ParseStep(" hinge 30  # half open\r", 1)->text, "hinge 30");
  for (const char* const line : {"", " \t\r", "# comment", "  # comment", "#"}) {
    EXPECT_FALSE(ParseStep(line, 1)) << line;
  }
}

TEST(ScenarioTest, EveryBadLineSaysWhy) {
  const std::pair<const char*, const char*> cases[] = {
      {"fold 3", "\"fold\" is no step"},
      {"announce", "expected a common value at the end"},
      {"withdraw five", "\"five\" is no number; expected a common value"},
      {"start 6x", "\"6x\" is no number; expected a use case"},
      {"rotation 90.5", "\"90.5\" is no number; expected a rotation in degrees"},
      {"hinge -0x5", "\"-0x5\" is no number; expected an angle"},
      {"announce 4294967296", "\"4294967296\" is not in -2147483648 to 4294967295"},
      {"announce -2147483649", "is not in"},
      {"announce 99999999999999999999", "is not in"},
      {"hinge 2147483648", "is not in -2147483648 to 2147483647; expected an angle"},
      {"hinge 30 40", "\"40\""},
      {"refuse memory 5", "\"5\""},
      {"raw", "expected common, usecase or hinge"},
      {"raw sensor 5", "\"sensor\" is no source of events"},
      {"raw common 2 none", "\"none\" is no number; expected a value or null"},
      {"raw hinge null", "\"null\" is no number; expected an angle"},
      {"wait", "expected a time such as 20ms"},
      {"wait 20", "\"20\" is no time"},
      {"wait -1s", "\"-1s\" is no time"},
      {"play 1m", "\"1m\" is no number of seconds"},
      {"dsp", "expected refuse, slow, absent or present"},
      {"dsp gone", "\"gone\" is nothing that a DSP does"},
      {"dsp refuse", "expected the number of writes to refuse"},
      {"dsp refuse 4294967295 -5",
       "is not in 0 to 2147483647; expected the number of writes to refuse"},
      {"dsp refuse 1", "expected a code"},
      {"dsp refuse 1 0", "a code of 0 would be success"},
      {"dsp slow 5 ms", "\"5\" is no time"},
      {"refuse", "expected memory, common-client, usecase-client or sensor"},
      {"refuse client", "\"client\" is nothing to refuse"},
      {"refuse sensor", "expected a code"},
      {"expect", "expected"},
      {"expect silence", "\"silence\" cannot be expected"},
      {"expect no", "expected write or handle"},
      {"expect no case", "\"no case\" cannot be expected"},
      {"expect status 2", "a status is 0 or 1"},
      {"expect log", "expected a piece of a log line"},
      {"expect writes -1", "a number of writes"},
      {"expect case -1", "a case number"},
      {"expect init", "expected init's result"},
  };
  for (const auto& [line, reason] : cases) {
    SCOPED_TRACE(line);
    try {
      ParseStep(line, 7);
      ADD_FAILURE() << "was taken";
    } catch (const ScenarioError& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason));
      EXPECT_EQ(error.line(), 7);
    }
  }
}

TEST(ScenarioTest, Times) {
  EXPECT_EQ(ParseTime("300us")->count(), 300);
  EXPECT_EQ(ParseTime("25ms")->count(), 25000);
  EXPECT_EQ(ParseTime(".5s")->count(), 500000);
  EXPECT_EQ(ParseTime("0s")->count(), 0);
  EXPECT_EQ(ParseTime("3600s")->count(), 3600000000);
  for (const char* const text :
       {"", "5", "ms", "5m", "5 ms", "5MS", "-1s", "nans", "infs", "3601s", "1e300s"}) {
    EXPECT_FALSE(ParseTime(text)) << text;
  }
}

TEST(ScenarioTest, CountsEveryLineOfAFile) {
  std::istringstream good("# first\n\nhinge 1\r\n  \nhinge 2");
  const auto steps = ParseScenario(good);
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_EQ(steps[0].line, 3);
  EXPECT_EQ(steps[1].line, 5);

  std::istringstream bad("\n# comment\nhinge 1\nhinge\nfold\n");
  try {
    ParseScenario(bad);
    ADD_FAILURE() << "was taken";
  } catch (const ScenarioError& error) {
    EXPECT_EQ(error.line(), 4);
  }
}

}  // namespace

}  // namespace brelmo::tavi::test
