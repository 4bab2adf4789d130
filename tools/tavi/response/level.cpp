#include "response/level.h"

#include <cmath>
#include <cstddef>

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

constexpr double kSpeechFromHz = 200.0;
constexpr double kSpeechFlatToHz = 500.0;
constexpr double kSpeechToHz = 8000.0;
constexpr size_t kFiner = 8;  // points between two bins, and steps between two samples

// The transform of the same filter on a circle so much longer.
std::vector<Complex> FinerBins(const std::vector<Complex>& bins) {
  const std::vector<double> impulse = SignalOf(bins);
  return BinsOf(impulse, kFiner * impulse.size());
}

}  // namespace

double SpeechPower(double hz) {
  if (hz < kSpeechFromHz || hz > kSpeechToHz) return 0.0;
  const double below = std::min(1.0, kSpeechFlatToHz / hz);
  return below * below;
}

double SpeechLevelDb(const std::vector<Complex>& bins, double rate) {
  const std::vector<Complex> finer = FinerBins(bins);
  double sum = 0.0;
  double weight_sum = 0.0;
  for (size_t k = 1; k < finer.size(); ++k) {
    const double hz = BinFrequency(k, rate, 2 * (finer.size() - 1));
    const double weight = SpeechPower(hz) / hz;  // an octave has more points the higher it is
    sum += weight * std::norm(finer[k]);
    weight_sum += weight;
  }
  return weight_sum > 0.0 ? ToDb(std::sqrt(sum / weight_sum)) : ToDb(0.0);
}

PairDifference ComparePair(const std::vector<Complex>& first, const std::vector<Complex>& second,
                           double rate) {
  PairDifference difference;
  difference.level_db = SpeechLevelDb(second, rate) - SpeechLevelDb(first, rate);

  // The correlation, at steps of a fraction of a sample: the cross spectrum under more zeros.
  const size_t last = first.size() - 1;
  std::vector<Complex> cross(kFiner * last + 1);
  double first_energy = 0.0;
  double second_energy = 0.0;
  for (size_t k = 0; k <= last; ++k) {
    const double hz = BinFrequency(k, rate, 2 * last);
    if (hz < kSpeechFromHz || hz > kSpeechToHz) continue;
    cross[k] = second[k] * std::conj(first[k]);
    first_energy += std::norm(first[k]);
    second_energy += std::norm(second[k]);
  }
  const std::vector<double> correlation = SignalOf(cross);
  const size_t size = correlation.size();
  size_t best = 0;
  for (size_t i = 1; i < size; ++i) {
    if (std::abs(correlation[i]) > std::abs(correlation[best])) best = i;
  }
  const double peak = correlation[best];
  if (!(std::abs(peak) > 0.0)) return difference;
  // The vertex of the parabola through the peak and its neighbours.
  const double before = correlation[(best + size - 1) % size];
  const double behind = correlation[(best + 1) % size];
  const double bend = before - 2 * peak + behind;
  const double vertex = std::abs(bend) > 0.0 ? (before - behind) / (2 * bend) : 0.0;
  const double steps = best > size / 2 ? static_cast<double>(best) - static_cast<double>(size)
                                       : static_cast<double>(best);
  difference.delay_samples = (steps + vertex) / static_cast<double>(kFiner);
  difference.is_inverted = peak < 0.0;
  // One side of the spectrum stands in `cross`, and SignalOf adds the other.
  difference.similarity = std::min(1.0, std::abs(peak) * static_cast<double>(size) / 2 /
                                            std::sqrt(first_energy * second_energy));
  return difference;
}

}  // namespace brelmo::tavi::tools
