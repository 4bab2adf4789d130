#include "response/mask.h"

#include <cmath>

#include <gmock/gmock.h>

#include "console/input.h"

namespace brelmo::tavi::tools {
namespace {

using testing::HasSubstr;

constexpr const char* kMask =
    "\xEF\xBB\xBF# source: made up\n200,+6,\n400,6,-6\r\n\n4000,6,-6\n8000,6,\n";
constexpr Range kAll{20, 20000};

TEST(MaskTest, AMarginWorkedByHand) {
  const Mask mask = ParseMask(kMask, "mask");
  EXPECT_THAT(mask.source, testing::ElementsAre("source: made up"));
  // A level of 80 dB fits between 12 dB, whatever it is.
  const auto flat = MarginOf(
      mask, [](double) { return 80.0; }, kAll);
  ASSERT_TRUE(flat);
  EXPECT_NEAR(flat->margin_db, 6, 1e-9);
  EXPECT_NEAR(flat->shift_db, -80, 1e-9);
  // Above 2 kHz 5 dB less: 12 - 5 dB are left, half of it on either side.
  const auto step = [](double hz) { return hz < 2500 ? 0.0 : -5.0; };
  const auto stepped = MarginOf(mask, step, kAll);
  EXPECT_NEAR(stepped->margin_db, 3.5, 1e-9);
  EXPECT_NEAR(stepped->shift_db, 2.5, 1e-9);
  EXPECT_GT(stepped->lower_hz, 2500);
  EXPECT_LT(stepped->upper_hz, 2500);
  // 14 dB do not fit, by 1 dB on either side.
  EXPECT_NEAR(MarginOf(
                  mask, [](double hz) { return hz < 2500 ? 0.0 : -14.0; }, kAll)
                  ->margin_db,
              -1, 1e-9);
  // Between its points a limit is a line over logarithmic frequency: 3 dB up at twice the
  // frequency.
  const Mask slope = ParseMask("500,0,-6\n2000,0,0\n", "mask");
  const auto sloped = MarginOf(slope, [](double) { return 0.0; }, {450, 2300});
  EXPECT_NEAR(sloped->margin_db, 0.0, 0.05);
  EXPECT_NEAR(sloped->lower_hz, 1995.3, 0.1);
}

TEST(MaskTest, BandsAreMeansOfPowerWithinTheData) {
  const Mask mask = ParseMask(kMask, "mask");
  // A tenth of the band is 10 dB up: 1.9 times the power.
  const auto narrow = [](double hz) {
    return std::abs(std::log2(hz / 1000)) < 1.0 / 60 ? 10.0 : 0.0;
  };
  const auto margin = MarginOf(mask, narrow, kAll);
  EXPECT_NEAR(margin->margin_db, 6 - 10 * std::log10(1.9) / 2, 0.1);
  EXPECT_NEAR(margin->upper_hz, 1000, 1e-6);
  EXPECT_LT(MarginOf(mask, narrow, kAll, 24)->margin_db, 3);
  // What was not measured is not judged.
  const auto falling = [](double hz) { return hz < 1500 ? 0.0 : -30.0; };
  EXPECT_NEAR(MarginOf(mask, falling, {100, 1500})->margin_db, 6, 1e-9);
  EXPECT_LT(MarginOf(mask, falling, kAll)->margin_db, -8);
  EXPECT_FALSE(MarginOf(mask, falling, {5000, 9000}));
}

TEST(MaskTest, ABadFileIsRefusedWithItsLine) {
  for (const auto& [text, reason] : std::vector<std::pair<std::string, std::string>>{
           {"# nothing\n", "no upper or no lower"},
           {"100,6,\n200,6,\n", "no upper or no lower"},
           {"100,6,-6\n\n100,6,-6\n", "m:3: the frequency does not rise"},
           {"100,6\n", "m:1: \"100,6\" has not three fields"},
           {"100,6,-6,1\n", "three fields"},
           {"100,six,-6\n", "\"six\" is no number"},
           {"100,6,nan\n", "\"nan\" is no number"},
           {"freq,upper,lower\n", "\"freq\" is no number"},
           {"-100,6,-6\n", "\"-100\" is no frequency in Hz"},
           {"100,6,-6000\n", "\"-6000\" is no limit in dB"}}) {
    try {
      ParseMask(text, "m");
      ADD_FAILURE() << text;
    } catch (const InputError& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason));
    }
  }
}

}  // namespace
}  // namespace brelmo::tavi::tools
