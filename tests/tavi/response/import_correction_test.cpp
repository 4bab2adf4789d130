#include "response/import_correction.h"

#include <cmath>

#include <random>

#include <gmock/gmock.h>

#include "response/biquad.h"
#include "response/curve.h"
#include "response/data_file.h"

namespace brelmo::tavi::tools {
namespace {

constexpr double kDspRate = 48000.0;

Measurement Impulse(const std::vector<double>& samples, double rate = kDspRate) {
  Measurement measurement;
  measurement.impulse = samples;
  measurement.impulse_rate_hz = rate;
  measurement.frequency_hz = {20, rate / 2};
  measurement.magnitude_db = {0, 0};
  measurement.phase_degrees = {0, 0};
  return measurement;
}

double Largest(const std::vector<Complex>& left, const std::vector<Complex>& right) {
  double largest = 0.0;
  for (size_t k = 0; k < left.size(); ++k) {
    largest = std::max(largest, std::abs(left[k] - right[k]));
  }
  return largest;
}

TEST(ImportTest, ADataFilesOwnImpulseIsTheDataFile) {
  std::mt19937 random(3);
  std::normal_distribution<double> number;
  for (int i = 0; i < 20; ++i) {
    std::vector<double> impulse;
    for (size_t n = 0; n < kFilterLength; ++n) impulse.push_back(number(random));
    const auto bins = AsFloats(BinsOf(impulse));
    EXPECT_LT(Largest(ImportCorrection(Impulse(SignalOf(bins)), ImportOptions()).bins, bins), 1e-5);
  }
}

TEST(ImportTest, AFilterIsTheSameAtAnotherRateAndAsText) {
  const std::vector<Filter> chain = {{FilterKind::kPeak, 1000, 6, 1}, {FilterKind::kGain, 0, -2}};
  const auto at = [&chain](double hz) {
    Complex product = 1.0;
    for (const Filter& filter : chain) product *= ResponseOf(filter, hz, 96000);
    return product;
  };
  Measurement text;
  for (const double hz : LogGrid({20, 24000}, 96)) {
    text.frequency_hz.push_back(hz);
    text.magnitude_db.push_back(ToDb(std::abs(at(hz))));
    text.phase_degrees.push_back(std::arg(at(hz)) * 180 / M_PI);
  }
  Measurement no_phase = text;
  no_phase.phase_degrees.clear();
  const Measurement impulse = Impulse(SignalOf(ChainBins(chain, 96000, 4097)), 96000);
  for (const Measurement& measurement : {text, no_phase, impulse}) {
    const Import import = ImportCorrection(measurement, ImportOptions());
    EXPECT_EQ(import.is_minimum_phase, !measurement.has_phase());
    for (size_t k = 1; k < 240; ++k) {
      // Minimum phase depends on the magnitude above half the rate, too.
      const Complex wanted = at(static_cast<double>(k) * kDspRate / 512);
      EXPECT_LT(import.is_minimum_phase ? std::abs(std::abs(import.bins[k]) - std::abs(wanted))
                                        : std::abs(import.bins[k] - wanted),
                0.005)
          << k;
    }
  }
}

TEST(ImportTest, GainTapsDelayAndPhase) {
  std::vector<double> late(600);
  late[300] = 1.0;
  late[320] = -0.5;
  ImportOptions options;
  options.taps = 257;
  const Import cut = ImportCorrection(Impulse(late), options);
  EXPECT_NEAR(cut.cut_away_db, 0, 1e-9);
  ASSERT_EQ(cut.findings.size(), 1U);
  EXPECT_EQ(cut.findings[0].name, "correction-cut");
  EXPECT_THAT(cut.findings[0].message, testing::HasSubstr("257 taps that are kept"));
  std::vector<double> longer = late;
  longer.resize(2000, 0.01);
  const Import folded = ImportCorrection(Impulse(longer), ImportOptions());
  ASSERT_EQ(folded.findings.size(), 1U);
  EXPECT_THAT(folded.findings[0].message, testing::HasSubstr("folds over"));

  options.is_delay_removed = true;
  options.gain_db = -6;
  const Import early = ImportCorrection(Impulse(late), options);
  EXPECT_THAT(early.findings, testing::IsEmpty());
  EXPECT_NEAR(early.removed_delay_seconds, 300 / kDspRate, 1e-9);
  EXPECT_NEAR(early.time.impulse[0], FromDb(-6), 1e-6);
  EXPECT_NEAR(early.time.impulse[20], -0.5 * FromDb(-6), 1e-6);

  options = ImportOptions();
  options.is_minimum_phase = true;
  const Import minimum = ImportCorrection(Impulse(late), options);
  EXPECT_NEAR(minimum.time.impulse[0], 1.0, 1e-6);
  EXPECT_NEAR(minimum.time.impulse[20], -0.5, 1e-6);

  // What begins before its time 0 stands at the circle's end.
  Measurement ahead = Impulse({0.25, 1.0});
  ahead.impulse_time_seconds = -1 / kDspRate;
  const Import circle = ImportCorrection(ahead, ImportOptions());
  EXPECT_NEAR(circle.time.impulse[0], 1.0, 1e-6);
  EXPECT_NEAR(circle.time.impulse[511], 0.25, 1e-6);
}

}  // namespace
}  // namespace brelmo::tavi::tools
