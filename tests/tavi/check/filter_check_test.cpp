// What a check says of data files as filters: filters whose faults are known by how they are made.
#include "check/filter_check.h"

#include <cmath>

#include <map>

#include <gmock/gmock.h>

#include "check/check_config.h"
#include "data_folder.h"
#include "process/scratch_folder.h"
#include "response/data_file.h"
#include "response/spectrum.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using tools::BinsOf;
using tools::Complex;
using tools::Finding;

// A unit impulse, or a few taps, at a sample.
std::vector<Complex> At(size_t sample, const std::vector<double>& taps = {1.0}) {
  std::vector<double> impulse(tools::kFilterLength);
  std::copy(taps.begin(), taps.end(), impulse.begin() + static_cast<ptrdiff_t>(sample));
  return BinsOf(impulse);
}

std::vector<Complex> Scaled(std::vector<Complex> bins, double gain) {
  for (Complex& bin : bins) bin *= gain;
  return bins;
}

std::vector<Complex> WithZero(std::vector<Complex> bins, size_t bin) {
  bins[bin] = 0.0;
  return bins;
}

constexpr const char* kTwoCases =
    "HingeAngle:0,90|LeftChannel:a.txt|RightChannel:b.txt "
    "HingeAngle:91,180|LeftChannel:c.txt|RightChannel:d.txt";

class FilterCheckTest : public testing::Test {
 protected:
  FilterCheckTest() {
    for (const char* name : {"a.txt", "b.txt", "c.txt", "d.txt"}) Write(name, At(0));
  }

  void Write(const std::string& name, const std::vector<Complex>& bins) {
    files_.Write(name, tools::DataFileText(bins));
  }

  // By name, without what is about postures.
  std::map<std::string, Finding> Check(const std::string& text = kTwoCases) {
    const simulator::DataFolder data_folder(files_.path());
    options_.data_root = files_.path();
    std::map<std::string, Finding> by_name;
    for (Finding& finding : tools::CheckConfig(text, options_).findings) {
      const std::string name = finding.name;
      EXPECT_EQ(name == "same-file" ? 0U : by_name.count(name), 0U) << name << " twice";
      if (name != "before-first-hinge-reading") by_name[name] = std::move(finding);
    }
    return by_name;
  }
  std::vector<std::string> Names(const std::string& text = kTwoCases) {
    std::vector<std::string> names;
    for (const auto& [name, finding] : Check(text)) names.push_back(name);
    return names;
  }

  tools::ScratchFolder files_;
  tools::CheckOptions options_;
};

TEST_F(FilterCheckTest, OfWhatFitsABlockNothingIsSaid) {
  EXPECT_THAT(Names(), IsEmpty());
  Write("a.txt", At(0, {1.0, 0.5, -0.2}));
  Write("b.txt", At(48, {1.0, 0.5, -0.2}));  // 1 ms, and no more
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FilterCheckTest, FiltersThatABlockDoesNotHold) {
  Write("a.txt", At(300));
  Write("b.txt", At(300));  // together: no delay between them
  options_.filter.late_energy_db = 0.0;
  EXPECT_THAT(Names(), IsEmpty()) << "all of it is late, and no more than all";
  options_.filter.late_energy_db = -30.0;
  Write("b.txt", At(0));
  const auto found = Check();
  ASSERT_EQ(found.count("time-aliasing"), 1U);
  const Finding& finding = found.at("time-aliasing");
  EXPECT_EQ(finding.severity, tools::Severity::kWarning);
  EXPECT_EQ(finding.case_number, 0U);
  EXPECT_EQ(finding.file, files_.path() + "/a.txt");
  EXPECT_THAT(finding.message, HasSubstr("0 dB of the filter's energy"));
  // 212 samples the shorter way round the circle.
  ASSERT_EQ(found.count("channel-delay"), 1U);
  EXPECT_THAT(found.at("channel-delay").message, HasSubstr("right comes 4.42 ms later"));
}

TEST_F(FilterCheckTest, EnergyBeforeThePeak) {
  // Linear phase about the middle of the circle: half of what is not its peak comes before it.
  std::vector<double> taps(201, 0.0);
  for (size_t i = 0; i < taps.size(); ++i) {
    taps[i] = 0.2 * std::exp(-std::abs(static_cast<double>(i) - 100.0) / 40.0);
  }
  taps[100] = 1.0;
  for (const char* name : {"a.txt", "b.txt", "c.txt", "d.txt"}) Write(name, At(156, taps));
  std::vector<std::string> found;
  const simulator::DataFolder data_folder(files_.path());
  for (const Finding& finding : tools::CheckConfig(kTwoCases, options_).findings) {
    if (finding.severity == tools::Severity::kWarning) found.push_back(finding.name);
  }
  EXPECT_THAT(found,
              testing::IsSupersetOf({"pre-ringing", "pre-ringing", "pre-ringing", "pre-ringing"}));
  // The same filter's peak at time 0: what comes before it is at the circle's end.
  std::rotate(taps.begin(), taps.begin() + 100, taps.end());
  std::vector<double> around(tools::kFilterLength);
  std::copy(taps.begin(), taps.begin() + 101, around.begin());
  std::copy(taps.begin() + 101, taps.end(), around.end() - 100);
  Write("a.txt", BinsOf(around));
  const std::string alone = "HingeAngle:0,180|LeftChannel:a.txt|RightChannel:missing.txt";
  EXPECT_THAT(Names(alone), testing::IsSupersetOf({"pre-ringing", "time-aliasing"}));
  options_.filter.early_energy_db = 0.0;
  EXPECT_THAT(Names(alone), testing::Not(testing::Contains("pre-ringing")));
}

TEST_F(FilterCheckTest, ABinThatIsZeroedStandsAtItsLine) {
  Write("c.txt", WithZero(At(0), 40));
  const auto found = Check();
  ASSERT_EQ(found.count("steep-bin"), 1U);
  const Finding& finding = found.at("steep-bin");
  EXPECT_EQ(finding.file, files_.path() + "/c.txt");
  EXPECT_EQ(finding.line, 41U);
  EXPECT_EQ(finding.line_text, "0,0");
  EXPECT_EQ(finding.case_number, 1U);
  EXPECT_THAT(finding.message, HasSubstr("bins 39 and 40 (3750 Hz)"));
  EXPECT_THAT(finding.message, HasSubstr("2 such steps"));
  // Beyond the range of speech, which lies elsewhere at another rate.
  Write("c.txt", WithZero(At(0), 2));
  EXPECT_EQ(Check().count("steep-bin"), 0U);
  options_.filter.rate = 96000.0;
  EXPECT_EQ(Check().count("steep-bin"), 1U);
}

TEST_F(FilterCheckTest, ChannelsApart) {
  Write("b.txt", Scaled(At(0, {1.0, 0.5}), -1.0));
  Write("d.txt", At(96));
  options_.filter.level_db = 100.0;
  std::vector<std::string> messages;
  const simulator::DataFolder data_folder(files_.path());
  for (const Finding& finding : tools::CheckConfig(kTwoCases, options_).findings) {
    if (finding.name == "channel-delay") messages.push_back(finding.message);
  }
  EXPECT_THAT(messages, ElementsAre("of case 0 the channels have opposite polarity",
                                    "of case 1 right comes 2.00 ms later than left"));
  options_.filter.delay_ms = 2.0;
  EXPECT_THAT(Check().at("channel-delay").message, HasSubstr("polarity"));
}

TEST_F(FilterCheckTest, LevelsOfCasesThatAdjoin) {
  const double gain = tools::FromDb(-8.0);
  Write("c.txt", Scaled(At(0), gain));
  const auto found = Check();
  ASSERT_EQ(found.count("level-jump"), 1U);
  EXPECT_EQ(found.at("level-jump").severity, tools::Severity::kNote);
  EXPECT_EQ(found.at("level-jump").case_number, 1U);
  EXPECT_THAT(found.at("level-jump").message, HasSubstr("hinge angle 90"));
  EXPECT_THAT(found.at("level-jump").message, HasSubstr("-8.0 dB on the left channel"));
  options_.filter.level_db = 8.1;
  EXPECT_THAT(Names(), IsEmpty());
  // A gap between the two, or half a turn, is no one step.
  options_.filter.level_db = 6.0;
  EXPECT_EQ(Check("HingeAngle:0,90|LeftChannel:a.txt|RightChannel:b.txt "
                  "HingeAngle:92,180|LeftChannel:c.txt|RightChannel:d.txt")
                .count("level-jump"),
            0U);
  EXPECT_EQ(Check("ScreenRotation:0|LeftChannel:a.txt|RightChannel:b.txt "
                  "ScreenRotation:180|LeftChannel:c.txt|RightChannel:d.txt")
                .count("level-jump"),
            0U);
}

TEST_F(FilterCheckTest, FilesOfSeveralUsesAndOfNone) {
  files_.Write("notes.md", "not a data file by its ending");
  const std::string shared =
      "HingeAngle:0,90|LeftChannel:a.txt|RightChannel:a.txt "
      "HingeAngle:91,180|LeftChannel:c.txt|RightChannel:a.txt";
  const auto found = Check(shared);
  ASSERT_EQ(found.count("same-file"), 1U);
  EXPECT_THAT(found.at("same-file").message,
              HasSubstr("left channel of case 0 and right channel of cases 0 and 1"));
  EXPECT_EQ(found.at("same-file").offset, shared.find("a.txt"));
  ASSERT_EQ(found.count("unused-file"), 1U);
  EXPECT_THAT(found.at("unused-file").message, HasSubstr("b.txt and d.txt"));
  // By whatever name; a case that is refused names its files all the same.
  EXPECT_EQ(Check(std::string(kTwoCases) + " Hinge:1|LeftChannel:b.txt|RightChannel:d.txt")
                .count("unused-file"),
            0U);
}

}  // namespace
}  // namespace brelmo::tavi::test
