#include "response/filter_time.h"

#include <cmath>

#include <algorithm>
#include <limits>

namespace brelmo::tavi::tools {

namespace {

// On the circle.
size_t Place(int sample, size_t size) {
  const int count = static_cast<int>(size);
  return static_cast<size_t>(((sample % count) + count) % count);
}

double Energy(const std::vector<double>& impulse) {
  double sum = 0.0;
  for (const double sample : impulse) sum += sample * sample;
  return sum;
}

// Where the circle is quietest: in the middle of what the longer arc leaves out. What stands from
// there to the peak comes before it, the rest after it.
int CutOf(const Arc& arc, size_t size) {
  return arc.start - static_cast<int>(size - arc.length) / 2;
}

}  // namespace

double ShareDb(double part, double whole) {
  return part > 0.0 ? 10.0 * std::log10(part / whole) : -std::numeric_limits<double>::infinity();
}

Arc ArcOf(const std::vector<double>& impulse, double left_out_db) {
  const size_t size = impulse.size();
  const double whole = Energy(impulse);
  if (!(whole > 0.0)) return {};
  const double wanted = whole * (1.0 - std::pow(10.0, left_out_db / 10.0));
  std::vector<double> sums = {0.0};
  sums.reserve(2 * size + 1);
  for (size_t i = 0; i < 2 * size; ++i) {
    sums.push_back(sums.back() + impulse[i % size] * impulse[i % size]);
  }
  Arc best{0, size};
  size_t end = 0;
  for (size_t start = 0; start < size; ++start) {
    end = std::max(end, start);
    while (end < start + size && sums[end] - sums[start] < wanted) ++end;
    if (end - start < best.length) best = {static_cast<int>(start), end - start};
  }
  if (static_cast<size_t>(best.start) + best.length > size) best.start -= static_cast<int>(size);
  return best;
}

double BeyondTapsDb(const std::vector<double>& impulse, size_t taps) {
  double beyond = 0.0;
  for (size_t i = taps; i < impulse.size(); ++i) beyond += impulse[i] * impulse[i];
  return ShareDb(beyond, Energy(impulse));
}

FilterTime MakeFilterTime(const std::vector<Complex>& bins, double rate) {
  FilterTime time;
  time.impulse = SignalOf(bins);
  const size_t size = time.impulse.size();
  const double whole = Energy(time.impulse);
  double sum = 0.0;
  for (size_t i = 0; i < size; ++i) {
    sum += std::abs(time.impulse[i]);
    if (std::abs(time.impulse[i]) > std::abs(time.impulse[time.peak])) time.peak = i;
  }
  time.worst_gain_db = ToDb(sum);
  time.arc_30db = ArcOf(time.impulse, -30.0);
  time.arc_60db = ArcOf(time.impulse, -60.0);
  time.beyond_taps_db = BeyondTapsDb(time.impulse, kPlayedTaps);
  time.pre_ringing_db = ShareDb(0.0, whole);
  if (!(whole > 0.0)) return time;

  const int cut = CutOf(time.arc_60db, size);
  const size_t to_peak = Place(static_cast<int>(time.peak) - cut, size);
  const auto allowed = static_cast<size_t>(std::lround(kPreRingingSeconds * rate));
  double early = 0.0;
  double moment = 0.0;
  for (size_t i = 0; i < size; ++i) {
    const double sample = time.impulse[Place(cut + static_cast<int>(i), size)];
    const double energy = sample * sample;
    if (i + allowed < to_peak) early += energy;
    moment += energy * (cut + static_cast<double>(i));
  }
  time.pre_ringing_db = ShareDb(early, whole);
  time.delay_samples = moment / whole;
  return time;
}

std::vector<double> GroupDelay(const FilterTime& time, double rate) {
  const size_t size = time.impulse.size();
  const int cut = CutOf(time.arc_60db, size);
  // The derivative of the phase, exactly: the transform of n h(n) over that of h(n).
  std::vector<double> weighted(size);
  for (size_t i = 0; i < size; ++i) {
    const int sample = cut + static_cast<int>(i);
    weighted[Place(sample, size)] = sample * time.impulse[Place(sample, size)];
  }
  const std::vector<Complex> above = BinsOf(weighted, size);
  const std::vector<Complex> below = BinsOf(time.impulse, size);
  std::vector<double> delays;
  delays.reserve(below.size());
  for (size_t k = 0; k < below.size(); ++k) {
    constexpr double kNothing = 1e-12;
    delays.push_back(std::abs(below[k]) > kNothing ? (above[k] / below[k]).real() / rate
                                                   : std::numeric_limits<double>::quiet_NaN());
  }
  return delays;
}

GainExtremes ExtremesOf(const std::vector<double>& impulse, double rate) {
  constexpr size_t kPoints = 8192;
  const std::vector<Complex> bins = BinsOf(impulse, 2 * kPoints);
  std::vector<double> powers;
  powers.reserve(bins.size());
  for (const Complex& bin : bins) powers.push_back(std::norm(bin));
  GainExtremes extremes;
  double highest = 0.0;
  double lowest = std::numeric_limits<double>::infinity();
  for (size_t k = 0; k < powers.size(); ++k) {
    double power = powers[k];
    double place = static_cast<double>(k);
    // A peak or a dip lies between the points, at the vertex of the parabola through three of them.
    if (k > 0 && k + 1 < powers.size()) {
      const double rise = (powers[k + 1] - powers[k - 1]) / 2;
      const double bend = powers[k + 1] - 2 * power + powers[k - 1];
      if (std::abs(rise) < std::abs(bend) / 2) {
        power = std::max(power - rise * rise / (2 * bend), 0.0);
        place -= rise / bend;
      }
    }
    const double hz = place / (2.0 * kPoints) * rate;
    if (power > highest) {
      highest = power;
      extremes.highest_hz = hz;
    }
    if (power < lowest) {
      lowest = power;
      extremes.lowest_hz = hz;
    }
  }
  extremes.highest_db = ToDb(std::sqrt(highest));
  extremes.lowest_db = ToDb(std::sqrt(lowest));
  return extremes;
}

}  // namespace brelmo::tavi::tools
