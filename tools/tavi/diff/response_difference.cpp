#include "diff/response_difference.h"

#include <cmath>

#include <algorithm>

#include "response/level.h"

namespace brelmo::tavi::tools {

namespace {

constexpr double kLeastGain = 1e-15;  // -300 dB, for bins of 0

GainDifference Summarise(const std::vector<double>& db, const std::vector<double>& hz, Range range,
                         double level_db) {
  GainDifference difference;
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < db.size(); ++i) {
    if (hz[i] < range.from_hz || hz[i] > range.to_hz) continue;
    const double here = db[i] - level_db;
    sum += here * here;
    ++count;
    if (std::abs(here) > std::abs(difference.largest_db)) {
      difference.largest_db = here;
      difference.largest_hz = hz[i];
    }
  }
  if (count > 0) difference.rms_db = std::sqrt(sum / static_cast<double>(count));
  return difference;
}

}  // namespace

ResponseDifference CompareResponses(const std::vector<Complex>& old_bins,
                                    const std::vector<Complex>& new_bins, double rate) {
  constexpr double kFloor = 1e-4;
  double highest = kLeastGain;
  for (size_t i = 0; i < old_bins.size(); ++i) {
    highest = std::max({highest, std::abs(old_bins[i]), std::abs(new_bins[i])});
  }
  ResponseDifference difference;
  std::vector<double> db;
  std::vector<double> hz;
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < old_bins.size(); ++i) {
    const double old_gain = std::abs(old_bins[i]);
    const double new_gain = std::abs(new_bins[i]);
    const double against = std::max(std::min(old_gain, new_gain), kFloor * highest);
    difference.deviation_db = std::max(difference.deviation_db,
                                       ToDb(1.0 + std::abs(new_bins[i] - old_bins[i]) / against));
    db.push_back(ToDb(std::max(new_gain, kLeastGain)) - ToDb(std::max(old_gain, kLeastGain)));
    hz.push_back(BinFrequency(i, rate, 2 * (old_bins.size() - 1)));
    if (hz.back() >= kSpeechRange.from_hz && hz.back() <= kSpeechRange.to_hz) {
      sum += db.back();
      ++count;
    }
  }
  if (count > 0) difference.level_db = sum / static_cast<double>(count);
  difference.speech = Summarise(db, hz, kSpeechRange, 0.0);
  difference.all = Summarise(db, hz, {0.0, rate}, 0.0);
  difference.remaining = Summarise(db, hz, kSpeechRange, difference.level_db);
  const PairDifference pair = ComparePair(old_bins, new_bins, rate);
  difference.delay_samples = pair.delay_samples;
  difference.is_inverted = pair.is_inverted;
  difference.similarity = pair.similarity;
  return difference;
}

}  // namespace brelmo::tavi::tools
