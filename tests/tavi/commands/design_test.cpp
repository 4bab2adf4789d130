// tavi design and tavi import.
#include <cmath>
#include <cstdio>

#include <string>

#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class DesignCommandTest : public testing::Test {
 protected:
  DesignCommandTest() {
    // A hump of 8 dB about 1 kHz.
    std::string text = "* a loudspeaker\n* Freq(Hz) SPL(dB)\n";
    for (double hz = 100; hz < 20000; hz *= 1.03) {
      char line[64];
      std::snprintf(line, sizeof(line), "%.2f %.3f\n", hz,
                    80 + 8 * std::exp(-std::pow(std::log2(hz / 1000), 2)));
      text += line;
    }
    measured_ = Written("measured.frd", text);
    made_ = folder_.path("made.txt");
  }

  Outcome Design(const Strings& more) const {
    Strings arguments = {"design", measured_, "-o", made_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTavi(arguments);
  }

  std::string Written(const std::string& name, const std::string& content) const {
    folder_.Write(name, content);
    return folder_.path(name);
  }

  tools::ScratchFolder folder_;
  std::string measured_;
  std::string made_;
};

TEST_F(DesignCommandTest, WritesAFileAndSaysWhatItDoes) {
  const Outcome outcome = Design({"--mask", "wb-handheld", "--taps", "0257", "--format", "json"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(Lines(ReadFile(made_)).size(), 257U);
  const json said = json::parse(outcome.out);
  EXPECT_EQ(said["from_hz"], 100.0);
  EXPECT_EQ(said["has_phase"], false);
  EXPECT_GT(said["points"], 100);
  EXPECT_GT(said["to_hz"], 19000.0);
  EXPECT_LT(said["rms_after_db"], said["rms_before_db"]);
  EXPECT_EQ(said["taps"], 257);
  EXPECT_EQ(said["smoothing"], 6.0);  // of what the deviations are of
  EXPECT_LE(said["max_boost_db"], 6.001);
  EXPECT_GT(said["max_cut_db"], 3.0);
  EXPECT_GE(said["peak_gain_db"], said["max_boost_db"]);
  EXPECT_EQ(said["mask"]["name"], "wb-handheld");
  EXPECT_GT(said["mask"]["margin_after_db"], said["mask"]["margin_before_db"]);
  EXPECT_EQ(said["mask"]["binding_hz"].size(), 2U);
  EXPECT_EQ(said["findings"], json::array());
}

TEST_F(DesignCommandTest, TakesATargetAndAMaskFromFiles) {
  // Drawn, not measured: that it is coarse, smooth and ends inside the range is no finding.
  const std::string target =
      Written("target.csv", "# 1/3 octave smoothing\n400 0 0\n1000 8 170\n4000 0 -10\n");
  const std::string mask = Written("own.csv", "200,2,-2\n7000,2,-2\n");
  const Outcome outcome = Design({"--target", target, "--mask", mask, "--format", "json"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(json::parse(outcome.out)["mask"]["name"], mask);
  EXPECT_EQ(json::parse(outcome.out)["findings"], json::array());
  EXPECT_EQ(RunTavi({"design", measured_, "-o", target, "--target", target, "--force"}).exit_code,
            2);
  EXPECT_EQ(RunTavi({"design", measured_, "-o", mask, "--mask", mask, "--force"}).exit_code, 2);
}

TEST_F(DesignCommandTest, LosesNothing) {
  const std::string before = ReadFile(measured_);
  EXPECT_EQ(RunTavi({"design", measured_, "-o", measured_, "--force"}).exit_code, 2);
  EXPECT_EQ(ReadFile(measured_), before);
  folder_.Write("made.txt", "dear");
  EXPECT_EQ(Design({}).exit_code, 2);
  EXPECT_EQ(ReadFile(made_), "dear");
  EXPECT_EQ(Design({"--range", "30000,40000", "--force"}).exit_code, 1);
  EXPECT_EQ(ReadFile(made_), "dear");
  EXPECT_EQ(Design({"--force"}).exit_code, 0);
  EXPECT_NE(ReadFile(made_), "dear");
}

TEST_F(DesignCommandTest, RefusesBadOptionsAndFiles) {
  for (const auto& [option, value] :
       std::vector<std::pair<std::string, std::string>>{{"--range", "300"},
                                                        {"--range", "800,300"},
                                                        {"--range", "a,b"},
                                                        {"--level", "loud"},
                                                        {"--level", "nan"},
                                                        {"--ir-start", "-1"},
                                                        {"--ir-start", "soon"},
                                                        {"--phase", "2"},
                                                        {"--taps", "15"},
                                                        {"--taps", "513"},
                                                        {"--max-boost", "-1"},
                                                        {"--mask", "no-such-mask"},
                                                        {"--target", "no-such-file"}}) {
    const Outcome outcome = Design({option, value});
    EXPECT_EQ(outcome.exit_code, 2) << option << " " << value;
    EXPECT_THAT(outcome.err, testing::AnyOf(HasSubstr(option), HasSubstr(value)));
  }
  EXPECT_EQ(Design({"--phase", "excess"}).exit_code, 1);
  const std::string bad = Written("bad.frd", "100 1\n200 x\n");
  for (const char* command : {"design", "import"}) {
    const Outcome outcome = RunTavi({command, bad, "-o", made_});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.out, HasSubstr("bad.frd:2:"));
  }
}

TEST_F(DesignCommandTest, ImportsWhatItExports) {
  ASSERT_EQ(Design({}).exit_code, 0);
  // The designed file's response as text, in dB and degrees.
  std::string text;
  size_t bin = 0;
  for (const std::string& line : Lines(ReadFile(made_))) {
    const double real = std::stod(line);
    const double imaginary = std::stod(line.substr(line.find(',') + 1));
    char row[96];
    std::snprintf(row, sizeof(row), "%.9g %.12f %.12f\n", static_cast<double>(bin) * 93.75,
                  20 * std::log10(std::hypot(real, imaginary)),
                  std::atan2(imaginary, real) * 180 / M_PI);
    if (bin++ > 0) text += row;
  }
  const std::string response = Written("response.frd", text);
  const std::string back = folder_.path("back.txt");
  const Outcome outcome = RunTavi({"import", response, "-o", back, "--format", "json"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(json::parse(outcome.out)["phase"], "file");
  const Strings made = Lines(ReadFile(made_));
  const Strings read = Lines(ReadFile(back));
  for (size_t k = 1; k < made.size(); ++k) {
    EXPECT_NEAR(std::stod(made[k]), std::stod(read[k]), 1e-6) << k;
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
