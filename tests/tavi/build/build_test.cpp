// tavi build: from one source to everything that a device needs.
#include <cmath>
#include <cstdio>

#include <filesystem>
#include <map>
#include <string>

#include <gmock/gmock.h>

#include "build/tuning.h"
#include "command.h"
#include "process/scratch_folder.h"
#include "response/data_file.h"
#include "response/level.h"

namespace brelmo::tavi::test {
namespace {

using testing::HasSubstr;
using tools::MakeTuning;
using tools::Tuning;

const std::string kExamples = std::string(TAVI_EXAMPLE_DATA_FOLDER) + "/../..";

std::vector<tools::Complex> BinsIn(const std::string& content) {
  std::vector<tools::Complex> bins;
  for (const std::string& line : Lines(content)) {
    double real = 0.0;
    double imaginary = 0.0;
    EXPECT_EQ(std::sscanf(line.c_str(), "%lf,%lf", &real, &imaginary), 2) << line;
    bins.emplace_back(real, imaginary);
  }
  return bins;
}

std::map<std::string, std::string> FilesIn(const std::string& folder) {
  std::map<std::string, std::string> files;
  if (!std::filesystem::exists(folder)) return files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files[entry.path().string()] = ReadFile(entry.path().string());
  }
  return files;
}

// A level of `db`, `seconds` late.
std::string Response(double db, double seconds) {
  std::string text;
  for (double hz = 100; hz < 20000; hz *= 1.02) {
    char line[80];
    std::snprintf(line, sizeof(line), "%.3f %.3f %.3f\n", hz, db,
                  std::remainder(-360.0 * hz * seconds, 360.0));
    text += line;
  }
  return text;
}

std::string Replaced(std::string text, char from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, 1, to);
  }
  return text;
}

constexpr const char* kWhole = "name = 'all'\nhinge = [0, 180]\nrotation = [0, 90, 180, 270]\n";

class BuildTest : public testing::Test {
 protected:
  std::string Source(const std::string& text) const {
    folder_.Write("p.toml", text);
    return folder_.path("p.toml");
  }
  // With one posture of all, and these channels.
  std::string Channels(const std::string& text) const {
    return Source(std::string("[[posture]]\n") + kWhole + text);
  }
  Outcome Build(const std::string& source, const Strings& more = {}) const {
    Strings arguments = {"build", source, "-o", out_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTavi(arguments);
  }

  tools::ScratchFolder folder_;
  const std::string out_ = folder_.path("out");
};

TEST_F(BuildTest, ExampleMakesTheFilesThatStandBesideIt) {
  const Tuning tuning = MakeTuning(kExamples + "/foldable/foldable.toml", true);
  EXPECT_EQ(tuning.files.size(), 12U + 2U);
  for (const auto& [name, content] : tuning.files) {
    if (name == "report.html") continue;
    const std::string stands = ReadFile(kExamples + "/foldable/" + name);
    if (name == "device.conf") {
      EXPECT_EQ(content, stands);
      continue;
    }
    const auto bins = BinsIn(content);
    const auto standing = BinsIn(stands);
    ASSERT_EQ(bins.size(), standing.size()) << name;
    for (size_t i = 0; i < bins.size(); ++i) {
      EXPECT_LE(std::abs(bins[i] - standing[i]), 1e-7) << name << " bin " << i;
    }
  }
}

TEST_F(BuildTest, HoldsWhatItMadeAndFindsEveryChange) {
  const std::string source = kExamples + "/measured/measured.toml";
  ASSERT_EQ(Build(source).exit_code, 0);
  const auto made = FilesIn(out_);
  EXPECT_EQ(made.size(), 12U + 3U);
  EXPECT_EQ(RunTavi({"check", "--strict", "--config", out_ + "/device.conf", "--data-root",
                     out_ + "/etc"})
                .exit_code,
            0);
  ASSERT_EQ(Build(source).exit_code, 0);
  EXPECT_TRUE(FilesIn(out_) == made) << "the same inputs give the same bytes";
  for (const auto& [name, content] : made) {
    const bool is_one_of_many = name.find("/etc/") != std::string::npos;
    if (is_one_of_many && name.find("tent_right") == std::string::npos) continue;
    folder_.Write("out/" + name.substr(out_.size() + 1), content + "1,0\n");
    const Outcome changed = Build(source, {"--check"});
    EXPECT_EQ(changed.exit_code, 1) << name;
    EXPECT_THAT(changed.out, HasSubstr(name + " differs"));
    folder_.Write("out/" + name.substr(out_.size() + 1), content);
  }
  const std::string file = "etc/spk_tent_left.txt";
  std::string content = made.at(out_ + "/" + file);
  char& digit = content[content.find(',') - 1];
  digit = digit == '5' ? '4' : '5';
  folder_.Write("out/" + file, content);
  EXPECT_EQ(Build(source, {"--check"}).exit_code, 0) << "another machine's last digit";
  folder_.Write("out/" + file, made.at(out_ + "/" + file));
  folder_.Write("t\xC3\xA4/a", "");
  EXPECT_EQ(RunTavi({"build", source, "-o", out_, "--check"}, "", "",
                    "TMPDIR='" + folder_.path("t\xC3\xA4") + "'")
                .exit_code,
            0)
      << "no page tells where it was checked";
  folder_.Write("out/" + file, content);
  folder_.Write("out/mine.txt", "");
  EXPECT_EQ(Build(source, {"--check"}).exit_code, 1);
  EXPECT_EQ(Build(source).exit_code, 2) << "mine.txt is not tavi's";
  EXPECT_EQ(ReadFile(out_ + "/" + file), content);
}

TEST_F(BuildTest, ShowsWhatIsWrongAtItsLineAndLeavesTheFolder) {
  folder_.Write("none_at_all.frd", "nothing\n");
  folder_.Write("good.frd", Response(80, 0));
  ASSERT_EQ(Build(Channels("left.filters = []\nright.filters = []\n")).exit_code, 0);
  const auto made = FilesIn(out_);
  const std::string whole = std::string("[[posture]]\n") + kWhole;
  const std::string flat = "left.filters = []\nright.filters = []\n";
  const struct {
    std::string source;
    std::string place;  // line and column
    std::string says;
  } faults[] = {
      {"rate = \n", "1:", "[no-toml]"},
      {"# n\xC3\xA4\n# n\xE4\n", "2:4", "\"\\xe4\" is no UTF-8 [no-toml]"},
      {"\xEF\xBB\xBF# n\xC3\xA4\n'\xC3\xA4' = \"\"\"\n\xC3\xA4\\\"\"\"\"\"\nr\xC3\xA4te = 1\n",
       "4:2", "\"\xC3\xA4\" stands outside of quotation marks [no-toml]"},
      {"# n\xC3\xA4\n" + whole + "nane = 1\n" + flat, "6:1", "the nearest that there is is name"},
      {"\"\xC3\xA4\" = 1\n", "1:1", "[unknown-key]"},
      {"rate = '48000'\n" + whole + flat, "1:8", "rate is to be a number of Hz"},
      {whole + "left.filters = [{type = 'peak', hz = 1, db = 1}]\nright.filters = []\n", "5:17",
       "a filter of type peak needs q"},
      {whole + "left.filters = [{type = 'high-pass', hz = 24000}]\nright.filters = []\n", "5:25",
       "hz is to lie between 0 and half"},
      {whole + "left.measured = 'none_at_all.frd'\nright.filters = []\n", "5:17",
       "none_at_all.frd"},
      {whole + "left.measured = 'none.frd'\nright.filters = []\n", "5:17", "[no-input]"},
      {whole + "left.measured = 'good.frd'\nleft.taps = 4\nright.filters = []\n", "6:13",
       "taps is to be a whole number from 16 to 512"},
      {whole + "left.measured = 'good.frd'\nleft.phase = 'excess'\nleft.column = [1, 2]\n"
               "right.filters = []\n",
       "5:17", "[no-phase]"},
      {"[design]\nmask = 'none'\n" + whole +
           "left.measured = 'good.frd'\nright.measured = 'good.frd'\n",
       "2:8", "with tavi (wb-handheld and wb-handheld-objective) [no-input]"},
      {whole + "left.measured = 'good.frd'\nleft.range = [1, 2]\nright.filters = []\n", "5:17",
       "give range as the measurement has it"},
      {whole + "left.file = 'good.frd'\nleft.filters = []\nright.filters = []\n", "5:13",
       "not from filters and file"},
      {whole + flat + whole + flat, "8:8", "has this name too"},
      {"[[posture]]\nname = 'a'\nrotation = [0]\nhinge = [90, 10]\n" + flat, "4:9",
       "p.toml:4:9: error"},
      {"[[posture]]\nname = 'a'\nrotation = [45]\nhinge = [0, 180]\n" + flat, "3:12",
       "p.toml:3:12: error"},
  };
  for (const auto& fault : faults) {
    const Outcome outcome = Build(Source(fault.source));
    EXPECT_EQ(outcome.exit_code, 1) << fault.source << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("p.toml:" + fault.place)) << fault.source;
    EXPECT_THAT(outcome.out, HasSubstr(fault.says)) << fault.source;
    EXPECT_TRUE(FilesIn(out_) == made) << fault.source;
  }
  // A name stays as it is written, though messages of options become those of keys.
  folder_.Write("my--mask", "30,6,-6\n40,6,-6\n");
  EXPECT_THAT(Build(Channels("left.measured = 'good.frd'\nleft.mask = 'my--mask'\n"
                             "right.filters = []\n"),
                    {"--strict"})
                  .out,
              HasSubstr("of the mask my--mask [mask-not-judged]"));
  // A gap in what is covered stands where it begins.
  const Outcome gap = Build(Source("[[posture]]\nname = 'a'\nhinge = [0, 90]\n"
                                   "rotation = [0, 90, 180, 270]\n" +
                                   flat),
                            {"--strict"});
  EXPECT_THAT(gap.out, HasSubstr("p.toml:3:9: warning: no case is taken in these postures: hinge "
                                 "angle 91 to 180"));
  EXPECT_TRUE(FilesIn(out_) == made);
}

TEST_F(BuildTest, MakesAChannelOfEachKindWithItsOptions) {
  folder_.Write("late.frd", Response(-6, 0.0005));  // 24 samples
  folder_.Write("flat.frd", Response(80, 0));
  folder_.Write("two.csv", Replaced(Response(80, 0), ' ', ",1,"));
  const auto made = [&](const std::string& head, const std::string& posture,
                        const std::string& left) {
    const Tuning tuning = MakeTuning(
        Source(head + "[[posture]]\n" + kWhole + posture + left + "right.filters = []\n"), false);
    EXPECT_FALSE(tuning.files.empty()) << left;
    return tuning.files.empty() ? "" : tuning.files.at("etc/spk_all_left.txt");
  };
  const std::string late = "left.correction = 'late.frd'\n";
  const std::string flat = "left.measured = 'flat.frd'\n";
  const std::string at_83 = "[design]\nlevel = 83\n";
  const std::string at_84 = "design.level = 84\n";
  const struct {
    std::string head, posture, left;
    double db, delay;
  } table[] = {
      {"", "", late, -6, 24},
      {"", "", late + "left.gain = -3\n", -9, 24},
      {"", "", late + "left.remove_delay = true\nleft.taps = 257\n", -6, 0},
      {"", "", late + "left.phase = 'minimum'\n", -6, 0},
      {"rate = 96000\n", "", late, -6, 48},
      {"", "", flat, 0, 0},
      {at_83, "", flat, 3, 0},
      {at_83, at_84, flat, 4, 0},
      {at_83, at_84, flat + "left.level = 85\n", 5, 0},
      {at_83, at_84, flat + "left.max_boost = 2\n", 2, 0},
      {at_83, at_84, flat + "left.level = 'peak'\n", 0, 0},
      {at_83, at_84, "left.measured = 'two.csv'\nleft.column = [1, 3, 5]\n", 4, 0},
      // A correction is not designed: what stands there of designs does not count for it.
      {at_83, at_84, late, -6, 24},
      {at_83, at_84, "left.filters = [{type = 'gain', db = -4}, {type = 'delay', samples = 5}]\n",
       -4, 5},
  };
  const std::vector<tools::Complex> nothing(257, 1.0);
  for (const auto& row : table) {
    const auto bins = BinsIn(made(row.head, row.posture, row.left));
    ASSERT_EQ(bins.size(), 257U) << row.left;
    // A level of the range's shows in all of the speech nearly as high.
    const auto difference = tools::ComparePair(nothing, bins, 48000);
    EXPECT_NEAR(difference.level_db, row.db, 0.3) << row.head << row.posture << row.left;
    EXPECT_NEAR(difference.delay_samples, row.delay, 0.3) << row.head << row.posture << row.left;
  }
  // A mask's path is relative to the source as others are, whether it looks like one or not.
  folder_.Write("house", "315,6,-6\n8000,6,-6\n");
  EXPECT_NE(made("", "", flat + "left.mask = 'house'\n"), "");
  // A finished file stays as it is to the byte.
  std::string finished;
  for (int bin = 0; bin < 257; ++bin) finished += "2.5e-1,0\n";
  folder_.Write("mine.txt", finished);
  EXPECT_EQ(made(at_83, at_84, "left.file = 'mine.txt'\n"), finished);
  for (const char* other : {"left.gain = 3\n", "left.level = 80\n", "left.max_cut = 1\n"}) {
    const Tuning tuning = MakeTuning(
        Channels(std::string("left.file = 'mine.txt'\nright.filters = []\n") + other), false);
    ASSERT_FALSE(tuning.findings.empty()) << other;
    EXPECT_EQ(tuning.findings[0].name, "unknown-key") << "an option of another kind";
  }
}

TEST_F(BuildTest, PlaysAPairAtOneLevelAndTime) {
  // The left is 5 dB louder, and 6 samples earlier.
  folder_.Write("left.frd", Response(85, 0.0005));
  folder_.Write("right.frd", Response(80, 0.000625));
  const std::string channels = "left.measured = 'left.frd'\nright.measured = 'right.frd'\n";
  const auto bins = [&](const std::string& more, const std::string& channel) {
    return BinsIn(
        MakeTuning(Channels(more + channels), false).files["etc/spk_all_" + channel + ".txt"]);
  };
  const struct {
    std::string more;
    double left_db;
    double delay;
  } wanted[] = {{"", -5, 0}, {"pair = 'apart'\n", 0, 0}, {"match_delay = true\n", -5, -6}};
  for (const auto& [more, left_db, delay] : wanted) {
    const auto left = bins(more, "left");
    const auto right = bins(more, "right");
    ASSERT_EQ(left.size(), 257U) << more;
    EXPECT_NEAR(tools::SpeechLevelDb(left, 48000), left_db, 0.01) << more;
    EXPECT_NEAR(tools::SpeechLevelDb(right, 48000), 0.0, 0.01) << more;
    EXPECT_NEAR(tools::ComparePair(left, right, 48000).delay_samples, delay, 0.01) << more;
  }
}

TEST_F(BuildTest, WritesTheLinesThatAVendorTreeCopiesBy) {
  const std::string source = Channels("left.filters = []\nright.filters = []\n");
  const std::string lines = folder_.path("tuning.mk");
  EXPECT_EQ(Build(source, {"--product-lines", lines}).exit_code, 0);
  EXPECT_THAT(ReadFile(lines), HasSubstr("$(LOCAL_PATH)/out/etc/spk_all_right.txt:"
                                         "$(TARGET_COPY_OUT_VENDOR)/etc/spk_all_right.txt\n"));
  EXPECT_EQ(Build(source, {"--product-lines", lines, "--check"}).exit_code, 0);
  EXPECT_EQ(Build(source, {"--product-lines", source}).exit_code, 2) << "an input";
  // A makefile in the folder is one of its files.
  for (const Strings& more : {Strings{}, {}, {"--check"}}) {
    Strings within = {"--product-lines", out_ + "/tuning.mk"};
    within.insert(within.end(), more.begin(), more.end());
    EXPECT_EQ(Build(source, within).exit_code, 0);
  }
  EXPECT_THAT(ReadFile(out_ + "/tuning.mk"), HasSubstr("$(LOCAL_PATH)/etc/spk_all_left.txt:"));
  EXPECT_EQ(Build(source, {"--product-lines", out_ + "/device.conf", "--force"}).exit_code, 2);
  EXPECT_EQ(
      RunTavi({"build", source, "-o", folder_.path("my out"), "--product-lines", lines}).exit_code,
      2)
      << "a makefile cannot name it";
}

}  // namespace
}  // namespace brelmo::tavi::test
