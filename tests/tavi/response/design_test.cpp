#include "response/design.h"

#include <cmath>

#include <random>

#include <gmock/gmock.h>

#include "response/biquad.h"
#include "response/shaping.h"

namespace brelmo::tavi::tools {
namespace {

constexpr double kRate = 48000.0;
constexpr double kBoostRoomDb = 0.001;
constexpr double kCutRoomDb = 0.05;

// A loudspeaker that is these filters, measured at frequencies up to 20 kHz.
Measurement Measured(const std::vector<Filter>& filters, double level_db = 0.0) {
  Measurement measurement;
  double turned = 0.0;
  Complex last = 1.0;
  for (const double hz : LogGrid({50.0, 20000.0}, 48)) {
    Complex response = 1.0;
    for (const Filter& filter : filters) response *= ResponseOf(filter, hz, kRate);
    measurement.frequency_hz.push_back(hz);
    measurement.magnitude_db.push_back(ToDb(std::abs(response)) + level_db);
    turned += std::arg(response / last);
    measurement.phase_degrees.push_back(turned * 180 / M_PI);
    last = response;
  }
  return measurement;
}

Filter Peak(double hz, double db, double q) { return {FilterKind::kPeak, hz, db, q}; }

// What is left of a measurement's deviation from its own mean after the correction.
double LargestLeft(const Measurement& measurement, const std::vector<double>& impulse,
                   Range range) {
  const FineGain gain(impulse, kRate);
  Curve left;
  for (size_t i = 0; i < measurement.frequency_hz.size(); ++i) {
    const double hz = measurement.frequency_hz[i];
    left.hz.push_back(hz);
    left.db.push_back(measurement.magnitude_db[i] + gain.DbAt(hz));
  }
  const double mean = MeanWithin(left, range);
  double largest = 0.0;
  for (size_t i = 0; i < left.hz.size(); ++i) {
    if (left.hz[i] < range.from_hz || left.hz[i] > range.to_hz) continue;
    largest = std::max(largest, std::abs(left.db[i] - mean));
  }
  return largest;
}

// Points here and there, up and down by tens of dB.
Measurement RandomMeasurement(std::mt19937& random) {
  const auto number = [&random](double low, double high) {
    return std::uniform_real_distribution<>(low, high)(random);
  };
  Measurement measurement;
  double hz = std::exp(number(std::log(20.0), std::log(1000.0)));
  const double last_hz = hz * number(1.5, 400.0);
  const double step = std::exp2(number(0.005, 0.7));
  const double spread = number(0.0, 40.0);
  double degrees = 0.0;
  for (; hz < last_hz || measurement.frequency_hz.size() < 3; hz *= step) {
    measurement.frequency_hz.push_back(hz);
    measurement.magnitude_db.push_back(80 + number(-spread, spread));
    measurement.phase_degrees.push_back(degrees += number(-90, 60));
  }
  return measurement;
}

DesignOptions RandomOptions(std::mt19937& random) {
  const auto number = [&random](double low, double high) {
    return std::uniform_real_distribution<>(low, high)(random);
  };
  const auto one_of = [&random](int count) {
    return std::uniform_int_distribution<>(0, count - 1)(random);
  };
  DesignOptions options;
  options.rate = std::vector{8000.0, 16000.0, 44100.0, 48000.0, 96000.0}[one_of(5)];
  options.range.from_hz = std::exp(number(std::log(30.0), std::log(2000.0)));
  options.range.to_hz = options.range.from_hz * number(1.1, 30.0);
  options.max_boost_db = one_of(4) == 0 ? 0.0 : number(0, 24);
  options.max_cut_db = one_of(4) == 0 ? 0.0 : number(0, 40);
  options.smoothing = number(1, 48);
  if (one_of(3) == 0) options.regularisation_db = number(0, 20);
  options.phase = one_of(8) == 0   ? CorrectionPhase::kExcess
                  : one_of(3) == 0 ? CorrectionPhase::kLinear
                                   : CorrectionPhase::kMinimum;
  options.taps = static_cast<size_t>(one_of(3) == 0 ? 257 : 16 + one_of(497));
  options.level = static_cast<LevelRule>(one_of(3));
  options.level_db = number(60, 100);
  if (one_of(3) == 0) options.target = Curve{{100, 1000, 9000}, {number(-9, 9), 0, number(-9, 9)}};
  return options;
}

TEST(DesignPropertyTest, NoGainIsBeyondTheLimits) {
#ifdef TAVI_SANITIZED
  constexpr unsigned kTries = 100;  // it takes ten times as long
#else
  constexpr unsigned kTries = 1000;
#endif
  size_t designed = 0;
  for (unsigned seed = 0; seed < kTries; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Measurement measurement = RandomMeasurement(random);
    const DesignOptions options = RandomOptions(random);
    const Design design = DesignCorrection(measurement, options);
    if (CountOf(design.findings, Severity::kError) > 0) {
      EXPECT_THAT(design.bins, testing::IsEmpty());
      continue;
    }
    ++designed;
    ASSERT_EQ(design.bins.size(), kBinCount);
    EXPECT_EQ(design.bins.front().imag(), 0.0);
    EXPECT_EQ(design.bins.back().imag(), 0.0);
    // At other frequencies than those at which the design looks, too.
    double highest = -1e9;
    double lowest = 1e9;
    for (const Complex& bin : BinsOf(SignalOf(design.bins), size_t{3} * 8192)) {
      highest = std::max(highest, ToDb(std::abs(bin)));
      lowest = std::min(lowest, ToDb(std::abs(bin)));
    }
    EXPECT_LE(highest, options.max_boost_db + kBoostRoomDb);
    EXPECT_GE(lowest, -options.max_cut_db - kCutRoomDb);
    EXPECT_LT(BeyondTapsDb(design.time.impulse, options.taps), -100.0);
    if (design.excess_share > 0.0) {
      EXPECT_LE(design.time.pre_ringing_db, -30.0);
    }
  }
  EXPECT_GT(designed, kTries / 2);
}

TEST(DesignTest, AFlatMeasurementNeedsNothing) {
  for (const auto phase : {CorrectionPhase::kMinimum, CorrectionPhase::kExcess}) {
    DesignOptions options;
    options.phase = phase;
    const Design design = DesignCorrection(Measured({}, 83.2), options);
    for (const Complex& bin : design.bins) EXPECT_NEAR(ToDb(std::abs(bin)), 0.0, 1e-6);
    if (phase == CorrectionPhase::kMinimum) {
      EXPECT_THAT(design.bins, testing::Each(Complex(1.0, 0.0)));
    }
    EXPECT_THAT(design.binding, testing::IsEmpty());
    EXPECT_THAT(design.findings, testing::IsEmpty());
  }
}

TEST(DesignTest, AKnownPeakIsFlattened) {
  struct Known {
    Filter peak;
    double largest_db;
  };
  for (const Known& known : {Known{Peak(1000, 6, 1), 0.12},
                             {Peak(2500, 6, 2), 0.3},
                             {Peak(500, -6, 2), 0.5},
                             {Peak(3000, 6, 6), 2}}) {
    SCOPED_TRACE(known.peak.hz);
    DesignOptions options;
    options.range = {200, 12000};
    const Measurement measurement = Measured({known.peak});
    const Design design = DesignCorrection(measurement, options);
    EXPECT_LT(LargestLeft(measurement, design.time.impulse, options.range), known.largest_db);
    EXPECT_LT(design.after.largest_db, design.before.largest_db / 4);
    EXPECT_LT(design.time.beyond_taps_db, -100.0);
    EXPECT_LT(design.time.pre_ringing_db, -100.0);
    EXPECT_EQ(design.time.peak, 0U);
  }
}

// At a level at which nothing is to be done outside the peak, the return to 0 dB outside the range
// leaves no step. At the level of the mean the correction stands 2 dB up there, and returns from
// it.
TEST(DesignTest, AKnownPeakIsFlatBeyondTheRangeUnlessTheLevelIsTheMean) {
  const Measurement measurement = Measured({Peak(1000, 6, 1)}, 80);
  DesignOptions options;
  options.level_db = 80;
  const Range around{200, 12000};
  const auto left = [&] {
    return LargestLeft(measurement, DesignCorrection(measurement, options).time.impulse, around);
  };
  EXPECT_GT(left(), 0.7);
  for (const LevelRule level : {LevelRule::kPeak, LevelRule::kAbsolute}) {
    options.level = level;
    EXPECT_LT(left(), 0.1);
  }
}

TEST(DesignTest, OutsideTheRangeNothingIsCorrected) {
  DesignOptions options;
  options.range = {1000, 4000};
  const Design design = DesignCorrection(Measured({Peak(500, 9, 2), Peak(9000, -9, 2)}), options);
  const FineGain gain(design.time.impulse, kRate);
  constexpr double kBlurDb = 0.4;  // of 257 taps
  for (const double hz : {50.0, 300.0, 500.0, 8000.0, 12000.0, 20000.0}) {
    EXPECT_NEAR(gain.DbAt(hz), 0.0, kBlurDb) << hz;
  }
}

TEST(DesignTest, TheLevelIsTheMeanThePeakOrTheTargets) {
  const Measurement measurement = Measured({Peak(1000, 6, 1)}, 80);
  DesignOptions options;
  options.range = {200, 12000};
  const auto gain_at = [&](double hz) {
    return FineGain(DesignCorrection(measurement, options).time.impulse, kRate).DbAt(hz);
  };
  const double mean = gain_at(1000);
  EXPECT_GT(gain_at(10000), 0.5);
  EXPECT_NEAR(gain_at(10000) - mean, 6, 0.3);
  options.level = LevelRule::kPeak;
  EXPECT_NEAR(gain_at(10000), 0, 0.1);
  EXPECT_NEAR(gain_at(1000), -6, 0.3);
  options.level = LevelRule::kAbsolute;
  options.level_db = 78;
  EXPECT_NEAR(gain_at(10000), -2, 0.15);
  EXPECT_NEAR(gain_at(1000), -8, 0.3);
  options.target = Curve{{100, 20000}, {3, 3}};
  EXPECT_NEAR(gain_at(1000), -5, 0.3);
}

TEST(DesignTest, ALimitBindsWhereItIsSaid) {
  DesignOptions options;
  options.range = {200, 12000};
  options.max_boost_db = 3;
  const Design design = DesignCorrection(Measured({Peak(2000, -12, 2)}), options);
  ASSERT_EQ(design.binding.size(), 1U);
  EXPECT_TRUE(design.binding[0].is_boost);
  EXPECT_LT(design.binding[0].range.from_hz, 1900);
  EXPECT_GT(design.binding[0].range.to_hz, 2100);
  EXPECT_NEAR(design.gain.highest_db, 3, 0.2);

  // The deeper a dip, the less of it is lifted.
  options.max_boost_db = 20;
  options.regularisation_db = 6;
  EXPECT_LT(DesignCorrection(Measured({Peak(2000, -30, 2)}), options).gain.highest_db, 6.001);
  const auto lifted = [&options](double depth_db) {
    const Design deep = DesignCorrection(Measured({Peak(2000, -depth_db, 1)}), options);
    return FineGain(deep.time.impulse, kRate).DbAt(2000);
  };
  EXPECT_LT(lifted(40), lifted(12) - 2);
}

TEST(DesignTest, ExcessPhaseIsUndone) {
  const Measurement measurement = Measured({{FilterKind::kAllPass, 1500, 0, 0.7}});
  DesignOptions options;
  options.phase = CorrectionPhase::kExcess;
  const Design design = DesignCorrection(measurement, options);
  EXPECT_EQ(design.excess_share, 1.0);
  // Of loudspeaker and correction together the delay is nearly the same in the range.
  const auto delays = GroupDelay(design.time, kRate);
  double least = 1.0;
  double most = -1.0;
  for (size_t bin = 8; bin <= 64; ++bin) {  // 750 to 6000 Hz
    const double hz = static_cast<double>(bin) * kRate / kFilterLength;
    const double slope = ValueAt(measurement.frequency_hz, measurement.phase_degrees, hz * 1.02) -
                         ValueAt(measurement.frequency_hz, measurement.phase_degrees, hz / 1.02);
    const double delay = delays[bin] - slope / 360 / (hz * (1.02 - 1 / 1.02));
    least = std::min(least, delay);
    most = std::max(most, delay);
  }
  EXPECT_LT(most - least, 0.0001);  // uncorrected 0.4 ms
}

TEST(DesignTest, WhatCannotBeDesignedIsSaid) {
  const auto name_of_error = [](Measurement measurement, const DesignOptions& options) {
    measurement.phase_degrees.clear();
    const Design design = DesignCorrection(measurement, options);
    return design.findings.empty() ? "" : design.findings.front().name;
  };
  DesignOptions excess;
  excess.phase = CorrectionPhase::kExcess;
  EXPECT_EQ(name_of_error(Measured({}), excess), "no-phase");
  DesignOptions beyond;
  beyond.range = {25000, 30000};
  EXPECT_EQ(name_of_error(Measured({}), beyond), "nothing-in-range");
  DesignOptions short_one;
  short_one.taps = 32;
  EXPECT_EQ(name_of_error(Measured({}), short_one), "few-taps");
}

}  // namespace
}  // namespace brelmo::tavi::tools
