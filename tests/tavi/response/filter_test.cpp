// The sums about filters: phase, time, level, known filters, the data file.
#include <cfloat>
#include <cmath>
#include <cstdlib>

#include <random>
#include <sstream>

#include <gmock/gmock.h>

#include "command.h"
#include "response/biquad.h"
#include "response/data_file.h"
#include "response/filter_time.h"
#include "response/level.h"
#include "response/minimum_phase.h"

namespace brelmo::tavi::tools {
namespace {

constexpr double kFilterRate = 48000.0;

std::vector<Complex> Impulses(const std::vector<std::pair<int, double>>& impulses) {
  std::vector<double> filter(kFilterLength);
  for (const auto& [sample, value] : impulses) {
    filter[static_cast<size_t>(sample + static_cast<int>(kFilterLength)) % kFilterLength] = value;
  }
  return BinsOf(filter);
}

TEST(MinimumPhaseTest, IsTheAnalyticPhaseOfAFilter) {
  const size_t count = kCepstrumSize / 2 + 1;
  for (const Filter& filter : {Filter{FilterKind::kPeak, 1000, 6, 1},
                               {FilterKind::kPeak, 3000, -12, 6},
                               {FilterKind::kLowShelf, 300, 9},
                               {FilterKind::kHighShelf, 6000, -9},
                               {FilterKind::kPeak, 400, 10, 4}}) {
    const auto known = ChainBins({filter}, kFilterRate, count);
    std::vector<double> gains;
    for (const Complex& bin : known) gains.push_back(std::abs(bin));
    const auto made = MinimumPhase(gains);
    double worst_degrees = 0.0;
    for (size_t k = 0; k < count; ++k) {
      worst_degrees = std::max(worst_degrees, std::abs(std::arg(made[k] / known[k])) * 180 / M_PI);
      EXPECT_NEAR(std::abs(made[k]), gains[k], 1e-9);
    }
    EXPECT_LT(worst_degrees, 0.1) << filter.hz;
  }
}

TEST(FilterTest, HasItsGainWhereItIsSaid) {
  const auto db = [](const Filter& filter, double hz) {
    return ToDb(std::abs(ResponseOf(filter, hz, kFilterRate)));
  };
  EXPECT_NEAR(db({FilterKind::kPeak, 1000, 6, 1}, 1000), 6, 1e-9);
  EXPECT_NEAR(db({FilterKind::kLowShelf, 500, 8}, 500), 4, 1e-9);
  EXPECT_NEAR(db({FilterKind::kLowShelf, 500, 8}, 1e-3), 8, 1e-6);
  EXPECT_NEAR(db({FilterKind::kHighShelf, 5000, 8}, 5000), 4, 1e-9);
  EXPECT_NEAR(db({FilterKind::kHighShelf, 5000, 8}, 24000), 8, 1e-6);
  for (const auto kind : {FilterKind::kHighPass, FilterKind::kLowPass}) {
    EXPECT_NEAR(db({kind, 1000}, 1000), -3.0103, 1e-4);
    EXPECT_NEAR(db({kind, 1000}, kind == FilterKind::kLowPass ? 2000 : 500), -12.3, 0.15);
  }
  const Filter all_pass = {FilterKind::kAllPass, 1000, 0, 0.7};
  for (const double hz : {10.0, 1000.0, 20000.0}) EXPECT_NEAR(db(all_pass, hz), 0, 1e-9);
  EXPECT_NEAR(ResponseOf(all_pass, 1000, kFilterRate).real(), -1, 1e-9);

  EXPECT_EQ(FilterFault({FilterKind::kPeak, 1000, 6, 1}, kFilterRate), "");
  EXPECT_THAT(FilterFault({FilterKind::kPeak, 24000, 6, 1}, kFilterRate),
              testing::HasSubstr("24000 Hz"));
  for (const Filter& bad : {Filter{FilterKind::kPeak, 1000, 6, 0},
                            {FilterKind::kGain, 0, NAN},
                            {FilterKind::kHighPass, NAN},
                            {FilterKind::kDelay, 0, 0, 1, -1}}) {
    EXPECT_NE(FilterFault(bad, kFilterRate), "");
  }
}

TEST(FilterTest, ChainsAreTheExamplesFiles) {
  const std::vector<Filter> portrait_right = {{FilterKind::kHighPass, 100},
                                              {FilterKind::kLowShelf, 220, 4},
                                              {FilterKind::kPeak, 3000, -1.5, 0.9},
                                              {FilterKind::kDelay, 0, 0, 1, 8}};
  const std::vector<Filter> tent_right = {
      {FilterKind::kHighPass, 120},       {FilterKind::kLowShelf, 400, -5},
      {FilterKind::kPeak, 1200, -4, 1.4}, {FilterKind::kHighShelf, 4500, 2},
      {FilterKind::kGain, 0, -4},         {FilterKind::kDelay, 0, 0, 1, 9}};
  const std::string folder = TAVI_EXAMPLE_DATA_FOLDER "/spk_";
  EXPECT_EQ(DataFileText(ChainBins(portrait_right, kFilterRate), Digits::kEightDecimals),
            test::ReadFile(folder + "portrait_right.txt"));
  EXPECT_EQ(DataFileText(ChainBins(tent_right, kFilterRate), Digits::kEightDecimals),
            test::ReadFile(folder + "tent_right.txt"));
}

TEST(DataFileTest, FloatsSurvive) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> exponent(-37, 37);
  std::vector<Complex> bins = {{0.0, -0.0}, {FLT_MIN, -FLT_MAX}, {FLT_MIN / 2, -1e-40}};
  for (int i = 0; i < 1000; ++i) {
    bins.emplace_back(std::pow(10.0, exponent(random)), -std::pow(10.0, exponent(random)));
  }
  std::istringstream lines(DataFileText(bins));
  std::vector<Complex> read;
  for (std::string line; std::getline(lines, line);) {
    const size_t comma = line.find(',');
    read.emplace_back(std::strtof(line.c_str(), nullptr),
                      std::strtof(line.c_str() + comma + 1, nullptr));
  }
  EXPECT_EQ(read, AsFloats(bins));
  EXPECT_EQ(DataFileText({bins[0], bins[2]}), "0,0\n0,0\n");
  EXPECT_EQ(read[3].real(), static_cast<float>(bins[3].real()));
}

TEST(FilterTimeTest, OfKnownImpulses) {
  // The loud one at 100; -40 dB of it 60 samples, which is more than 1 ms, earlier; -50 dB later.
  const double late = std::pow(10.0, -50.0 / 20);
  const FilterTime time =
      MakeFilterTime(Impulses({{40, 0.01}, {100, -1.0}, {300, late}}), kFilterRate);
  EXPECT_EQ(time.peak, 100U);
  EXPECT_NEAR(time.pre_ringing_db, -40, 0.01);
  EXPECT_NEAR(time.beyond_taps_db, -50, 0.01);
  EXPECT_NEAR(time.worst_gain_db, ToDb(1.01 + late), 1e-6);
  EXPECT_EQ(time.arc_30db.start, 100);
  EXPECT_EQ(time.arc_30db.length, 1U);
  EXPECT_EQ(time.arc_60db.start, 40);
  EXPECT_EQ(time.arc_60db.length, 261U);
  EXPECT_NEAR(time.delay_samples, 100, 0.01);

  // The same around the circle: the peak at 20, and what comes before it at the end.
  const FilterTime around = MakeFilterTime(Impulses({{-40, 0.01}, {20, -1.0}}), kFilterRate);
  EXPECT_NEAR(around.pre_ringing_db, -40, 0.01);
  EXPECT_EQ(around.arc_60db.start, -40);
  EXPECT_NEAR(around.beyond_taps_db, -40, 0.01);
  // 1 ms is not early.
  EXPECT_LT(MakeFilterTime(Impulses({{-28, 0.01}, {20, -1.0}}), kFilterRate).pre_ringing_db, -200);
}

TEST(FilterTimeTest, GroupDelayOfADelayIsItsLength) {
  for (const int samples : {0, 7, 200}) {
    const FilterTime time = MakeFilterTime(Impulses({{samples, 0.5}}), kFilterRate);
    for (const double delay : GroupDelay(time, kFilterRate))
      EXPECT_NEAR(delay * kFilterRate, samples, 1e-6);
  }
}

TEST(FilterTimeTest, AFilterOfZerosHasNoTime) {
  const FilterTime time = MakeFilterTime(std::vector<Complex>(kBinCount), kFilterRate);
  EXPECT_EQ(time.arc_60db.length, 0U);
  EXPECT_TRUE(std::isinf(time.beyond_taps_db));
  for (const double delay : GroupDelay(time, kFilterRate)) EXPECT_TRUE(std::isnan(delay));
}

TEST(LevelTest, OneChannelLaterLowerAndInverted) {
  const std::vector<Filter> chain = {{FilterKind::kHighPass, 300}, {FilterKind::kPeak, 2500, 5, 2}};
  const auto first = ChainBins(chain, kFilterRate);
  for (const double sign : {1.0, -1.0}) {
    std::vector<Filter> more = chain;
    more.push_back({FilterKind::kDelay, 0, 0, 1, 7});
    more.push_back({FilterKind::kGain, 0, -3});
    auto second = ChainBins(more, kFilterRate);
    for (Complex& bin : second) bin *= sign;
    const PairDifference later = ComparePair(first, second, kFilterRate);
    EXPECT_NEAR(later.delay_samples, 7, 0.01);
    EXPECT_NEAR(later.level_db, -3, 1e-6);
    EXPECT_EQ(later.is_inverted, sign < 0);
    EXPECT_NEAR(later.similarity, 1, 0.01);
    EXPECT_NEAR(ComparePair(second, first, kFilterRate).delay_samples, -7, 0.01);
  }
}

TEST(LevelTest, OnlySpeechCounts) {
  EXPECT_NEAR(SpeechLevelDb(ChainBins({{FilterKind::kGain, 0, -5}}, kFilterRate), kFilterRate), -5,
              1e-9);
  EXPECT_NEAR(
      SpeechLevelDb(ChainBins({{FilterKind::kPeak, 15000, 20, 4}}, kFilterRate), kFilterRate), 0,
      0.1);
  const double low =
      SpeechLevelDb(ChainBins({{FilterKind::kPeak, 400, 6, 2}}, kFilterRate), kFilterRate);
  const double high =
      SpeechLevelDb(ChainBins({{FilterKind::kPeak, 4000, 6, 2}}, kFilterRate), kFilterRate);
  EXPECT_GT(low, high + 1.0);
}

}  // namespace
}  // namespace brelmo::tavi::tools
