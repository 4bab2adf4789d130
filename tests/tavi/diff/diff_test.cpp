// tavi diff: what a change of a tuning changes for who listens.
#include <cmath>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "command.h"
#include "diff/config_difference.h"
#include "dsp_bytes.h"
#include "process/scratch_folder.h"
#include "response/data_file.h"

namespace brelmo::tavi::test {
namespace {

using tools::Complex;
using tools::ConfigDiff;
using tools::DataFileText;
using tools::PostureDiff;

constexpr size_t kSlices = 30;
constexpr size_t kCases = 4 * kSlices;
constexpr int kDegrees = 6;

// A response that no other case has.
std::vector<Complex> BinsOfCase(size_t number, size_t channel) {
  std::vector<Complex> bins;
  for (size_t i = 0; i < tools::kBinCount; ++i) {
    const double angle = M_PI * static_cast<double>(i) / 256;
    bins.push_back(1.0 +
                   0.002 * static_cast<double>(2 * number + channel + 1) * std::polar(1.0, -angle));
  }
  return bins;
}

struct Tuning {
  struct Case {
    int from, to, rotation;
    std::array<std::string, 2> files;
  };
  std::vector<Case> cases;
  std::map<std::string, std::string> files;
  bool is_other_order = false;

  std::string Text() const {
    std::string text;
    for (const Case& c : cases) {
      const std::string hinge = "HingeAngle:" + std::to_string(c.from) + "," + std::to_string(c.to);
      const std::string rotation = "ScreenRotation:" + std::to_string(c.rotation);
      text += (text.empty() ? "" : " ") +
              (is_other_order ? rotation + "|" + hinge : hinge + "|" + rotation) +
              "|LeftChannel:" + c.files[0] + "|RightChannel:" + c.files[1];
    }
    return text;
  }
};

Tuning MakeTuning() {
  Tuning tuning;
  for (size_t number = 0; number < kCases; ++number) {
    const int slice = static_cast<int>(number % kSlices);
    Tuning::Case c{slice * kDegrees,
                   slice * kDegrees + kDegrees - 1,
                   90 * static_cast<int>(number / kSlices),
                   {}};
    if (slice + 1 == static_cast<int>(kSlices)) c.to = 180;
    for (size_t channel = 0; channel < 2; ++channel) {
      c.files[channel] = std::to_string(number) + (channel == 0 ? "l.txt" : "r.txt");
      tuning.files[c.files[channel]] = DataFileText(BinsOfCase(number, channel));
    }
    tuning.cases.push_back(std::move(c));
  }
  return tuning;
}

class DiffTest : public testing::Test {
 protected:
  tools::SideConfig Read(const Tuning& tuning, const std::string& name) const {
    folder_.Write(name + "/device.conf", tuning.Text() + "\n");
    for (const auto& [file, content] : tuning.files) folder_.Write(name + "/etc/" + file, content);
    return std::get<tools::SideConfig>(tools::ReadSide({folder_.path(name), ""}, 48000));
  }
  ConfigDiff Compare(const Tuning& changed) const {
    return tools::CompareConfigs(old_, Read(changed, "new"), {});
  }

  tools::ScratchFolder folder_;
  const tools::SideConfig old_ = Read(MakeTuning(), "old");
};

TEST_F(DiffTest, FindsNothingWhereTheSameIsSent) {
  ASSERT_EQ(old_.cases.size(), kCases);
  ConfigDiff diff = Compare(MakeTuning());
  EXPECT_TRUE(diff.is_same && diff.rules.empty() && diff.postures.empty() &&
              diff.only_text.empty());
  Tuning tuning = MakeTuning();
  tuning.is_other_order = true;
  diff = Compare(tuning);
  EXPECT_TRUE(diff.is_same && diff.rules.empty() && diff.postures.empty());
  EXPECT_EQ(diff.only_text.size(), kCases);
  tuning = MakeTuning();
  tuning.files["new.txt"] = tuning.files[tuning.cases[7].files[1]];
  tuning.cases[7].files[1] = "new.txt";
  diff = Compare(tuning);
  EXPECT_TRUE(diff.is_same && diff.rules.empty() && diff.postures.empty());
  ASSERT_EQ(diff.only_text.size(), 1U);
  EXPECT_THAT(diff.only_text[0], testing::HasSubstr("\"new.txt\" instead of \"7r.txt\""));
  tuning = MakeTuning();
  tuning.files["7r.txt"] = "nan,0\n";
  diff = tools::CompareConfigs(Read(tuning, "nan"), Read(tuning, "nan"), {});
  EXPECT_TRUE(diff.is_same && diff.postures.empty()) << "a NaN is sent, and is itself";
}

TEST_F(DiffTest, FindsAnyFileThatChangesInItsPostureAlone) {
  const struct {
    Complex gain;
    int delay;
    double level_db, delay_samples;
    bool is_inverted;
  } changes[] = {{1.0, 5, 0, 5, false}, {-1.0, 0, 0, 0, true}, {0.5, 0, -6.0206, 0, false}};
  for (size_t number = 0; number < kCases; number += 17) {
    for (const auto& change : changes) {
      const size_t channel = number % 2;
      Tuning tuning = MakeTuning();
      std::vector<Complex> bins = BinsOfCase(number, channel);
      for (size_t i = 0; i < bins.size(); ++i) {
        bins[i] *=
            change.gain * std::polar(1.0, -M_PI * static_cast<double>(i) / 256 * change.delay);
      }
      tuning.files[tuning.cases[number].files[channel]] = DataFileText(bins);
      const ConfigDiff diff = Compare(tuning);
      EXPECT_FALSE(diff.is_same);
      EXPECT_TRUE(diff.rules.empty() && diff.only_text.empty());
      ASSERT_EQ(diff.postures.size(), 1U);
      const PostureDiff& found = diff.postures[0];
      EXPECT_EQ(found.new_case, number);
      EXPECT_FALSE(found.is_other_case);
      for (const tools::Posture& posture : found.postures) {
        EXPECT_EQ(posture.rotation, tuning.cases[number].rotation);
        EXPECT_GE(*posture.hinge_angle, tuning.cases[number].from);
        EXPECT_LE(*posture.hinge_angle, tuning.cases[number].to);
      }
      EXPECT_TRUE(found.channels[1 - channel].is_same);
      ASSERT_TRUE(found.channels[channel].difference);
      const tools::ResponseDifference& difference = *found.channels[channel].difference;
      EXPECT_NEAR(difference.level_db, change.level_db, 1e-3);
      EXPECT_NEAR(difference.speech.largest_db, change.level_db, 1e-3);
      EXPECT_NEAR(difference.remaining.rms_db, 0.0, 1e-3);
      if (!change.is_inverted && change.delay == 0) {
        EXPECT_NEAR(difference.deviation_db, std::abs(change.level_db), 1e-3);
      }
      EXPECT_NEAR(difference.delay_samples, change.delay_samples, 1e-3);
      EXPECT_EQ(difference.is_inverted, change.is_inverted);
    }
  }
}

TEST_F(DiffTest, TellsAFileThatCannotBeUsedFromOneThatIsFlat) {
  for (const bool is_usable : {true, false}) {
    Tuning tuning = MakeTuning();
    std::string& file = tuning.files[tuning.cases[4].files[1]];
    file = is_usable ? DataFileText(std::vector<Complex>(257, 1.0)) : "garbage\n";
    const ConfigDiff diff = Compare(tuning);
    ASSERT_EQ(diff.postures.size(), 1U);
    EXPECT_EQ(diff.postures[0].channels[1].played_flat, is_usable ? "" : "new");
    EXPECT_TRUE(diff.postures[0].channels[1].difference);
  }
}

TEST_F(DiffTest, NamesThePosturesWhereAnotherCaseIsTaken) {
  for (size_t number = 3; number < kCases; number += 29) {
    if (number % kSlices + 1 == kSlices) continue;
    // In each rotation: ranges that overlap are looked up in a way of the module's own.
    Tuning tuning = MakeTuning();
    for (size_t i = number % kSlices; i < kCases; i += kSlices) {
      ++tuning.cases[i].to;
      ++tuning.cases[i + 1].from;
    }
    const ConfigDiff diff = Compare(tuning);
    EXPECT_EQ(diff.rules.size(), 8U);
    ASSERT_EQ(diff.postures.size(), 4U);
    for (const PostureDiff& found : diff.postures) {
      EXPECT_TRUE(found.is_other_case);
      ASSERT_TRUE(found.new_case);
      EXPECT_EQ(found.old_case, *found.new_case + 1);
      ASSERT_EQ(found.postures.size(), 1U);
      EXPECT_EQ(found.postures[0].hinge_angle, tuning.cases[*found.new_case].to);
      EXPECT_EQ(found.postures[0].rotation, tuning.cases[*found.new_case].rotation);
    }

    tuning = MakeTuning();
    tuning.cases.erase(tuning.cases.begin() + static_cast<ptrdiff_t>(number));
    const ConfigDiff removed = Compare(tuning);
    ASSERT_EQ(removed.rules.size(), 1U) << removed.rules[1];
    EXPECT_THAT(removed.rules[0],
                testing::StartsWith("case " + std::to_string(number) + " is removed"));
    ASSERT_EQ(removed.postures.size(), 1U);
    EXPECT_FALSE(removed.postures[0].new_case);
    EXPECT_TRUE(removed.postures[0].is_other_case);

    tuning = MakeTuning();
    std::rotate(tuning.cases.begin(), tuning.cases.begin() + static_cast<ptrdiff_t>(number),
                tuning.cases.begin() + static_cast<ptrdiff_t>(number) + 1);
    const ConfigDiff moved = Compare(tuning);
    EXPECT_TRUE(moved.is_same && moved.postures.empty());
    EXPECT_EQ(moved.rules.size(), 1U);
  }
}

TEST_F(DiffTest, ExitsLikeDiff) {
  Tuning tuning = MakeTuning();
  std::vector<Complex> bins = BinsOfCase(0, 0);
  for (Complex& bin : bins) bin *= 1.01;
  tuning.files["0l.txt"] = DataFileText(bins);
  Read(tuning, "new");
  folder_.Write("flat.frd", "100 0 0\n1000 0 0\n10000 0 0\n24000 0 0\n");
  const auto path = [this](const std::string& name) { return folder_.path(name); };
  // What the DSP got of the old one's cases 0 and 3, in both forms of a capture.
  for (const char* capture : {"raw.capture", "call.pcapng"}) {
    const Outcome run = RunTavi({"run", "--config", path("old/device.conf"), "--data-root",
                                 path("old/etc"), "--capture", path(capture)},
                                "hinge 3\ncall\nhinge 20\ndsp refuse 1 -5\nhinge 3\nhang up\n");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    folder_.Write(std::string("cut.") + capture, ReadFile(path(capture)).substr(0, 3000));
  }
  folder_.Write("status.capture", StatusMessage(1) + StatusMessage(0));
  const struct {
    Strings arguments;
    int exit_code;
  } table[] = {
      {{path("old"), path("old")}, 0},
      {{path("old"), path("new")}, 1},
      {{path("old"), path("new"), "--format", "json"}, 1},
      {{path("old"), path("new"), "--tolerance", "0.1"}, 0},
      {{path("old") + "/device.conf", path("new"), "--old-root", path("old") + "/etc"}, 1},
      {{path("old") + "/device.conf", path("new") + "/device.conf"}, 2},  // without their files
      {{path("old") + "/etc/0l.txt", path("new") + "/etc/0l.txt"}, 1},
      {{path("old") + "/etc/0l.txt", path("new") + "/etc/0l.txt", "--tolerance", "0.1"}, 0},
      {{path("old") + "/etc/1l.txt", path("flat.frd")}, 1},
      {{path("old"), path("flat.frd")}, 2},
      {{path("old"), path("none")}, 2},
      {{path("raw.capture"), path("old")}, 0},
      {{path("call.pcapng"), path("old")}, 0},
      {{path("old/device.conf"), path("call.pcapng"), "--old-root", path("old/etc")}, 0},
      {{path("raw.capture"), path("new")}, 1},
      {{path("call.pcapng"), path("new"), "--format", "json"}, 1},
      {{path("new"), path("call.pcapng"), "--tolerance", "0.1"}, 0},
      {{path("cut.raw.capture"), path("old")}, 2},
      {{path("cut.call.pcapng"), path("old")}, 2},
      {{path("status.capture"), path("old")}, 2},
      {{path("raw.capture"), path("call.pcapng")}, 2},
  };
  for (const auto& [arguments, exit_code] : table) {
    Strings all = {"diff"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const Outcome outcome = RunTavi(all);
    EXPECT_EQ(outcome.exit_code, exit_code) << testing::PrintToString(arguments) << outcome.err;
    EXPECT_EQ(outcome.err.empty(), exit_code != 2);
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
