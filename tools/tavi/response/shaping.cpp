#include "response/shaping.h"

#include <cmath>

#include <algorithm>

#include "response/minimum_phase.h"
#include "response/smoothing.h"

namespace brelmo::tavi::tools {

namespace {

constexpr double kPhaseSmoothingOctaves = 1.0 / 6;
constexpr double kLeastDb = -400.0;  // in place of -infinity, which cannot be interpolated

// Of a grid that is evenly spaced over logarithmic frequency: no search, as ValueAt needs one.
class GridReader {
 public:
  explicit GridReader(const Curve& curve)
      : curve_(curve),
        first_(std::log2(curve.hz.front())),
        per_octave_(static_cast<double>(curve.hz.size() - 1) /
                    std::log2(curve.hz.back() / curve.hz.front())) {}

  double At(double hz) const {
    if (hz <= curve_.hz.front()) return curve_.db.front();
    const double place = (std::log2(hz) - first_) * per_octave_;
    const auto before = static_cast<size_t>(place);
    if (before + 1 >= curve_.db.size()) return curve_.db.back();
    const double part = place - static_cast<double>(before);
    return curve_.db[before] + part * (curve_.db[before + 1] - curve_.db[before]);
  }

 private:
  const Curve& curve_;
  double first_;
  double per_octave_;
};

// Falls from 1 to 0 as `part` rises from 0 to 1.
double Fade(double part) { return (1.0 + std::cos(M_PI * std::clamp(part, 0.0, 1.0))) / 2; }

// The line a + b x nearest to the points.
struct StraightLine {
  double a = 0.0;
  double b = 0.0;
};

StraightLine LineThrough(const std::vector<double>& x, const std::vector<double>& y) {
  const auto count = static_cast<double>(x.size());
  double x_mean = 0.0;
  double y_mean = 0.0;
  for (size_t i = 0; i < x.size(); ++i) {
    x_mean += x[i] / count;
    y_mean += y[i] / count;
  }
  double above = 0.0;
  double below = 0.0;
  for (size_t i = 0; i < x.size(); ++i) {
    above += (x[i] - x_mean) * (y[i] - y_mean);
    below += (x[i] - x_mean) * (x[i] - x_mean);
  }
  const double b = below > 0.0 ? above / below : 0.0;
  return {y_mean - b * x_mean, b};
}

}  // namespace

std::vector<double> CutAndFaded(const std::vector<double>& impulse, size_t taps) {
  std::vector<double> cut(impulse);
  if (taps < cut.size()) cut.resize(taps);
  const size_t half = taps / 2;
  for (size_t i = half; i < cut.size(); ++i) {
    cut[i] *= Fade(static_cast<double>(i - half) / static_cast<double>(taps - half));
  }
  return cut;
}

std::vector<double> GainsOf(const Curve& curve, double rate) {
  const GridReader reader(curve);
  std::vector<double> gains;
  gains.reserve(kCepstrumSize / 2 + 1);
  for (size_t k = 0; k <= kCepstrumSize / 2; ++k) {
    gains.push_back(FromDb(reader.At(BinFrequency(k, rate, kCepstrumSize))));
  }
  return gains;
}

std::vector<double> MinimumPhaseFilter(const Curve& curve, double rate, size_t taps) {
  return CutAndFaded(SignalOf(MinimumPhase(GainsOf(curve, rate))), taps);
}

std::vector<double> LinearPhaseFilter(const Curve& curve, double rate, size_t taps) {
  const std::vector<double> gains = GainsOf(curve, rate);
  const std::vector<double> symmetric = SignalOf(std::vector<Complex>(gains.begin(), gains.end()));
  const size_t half = (taps - 1) / 2;
  std::vector<double> filter(2 * half + 1);
  for (size_t i = 0; i <= half; ++i) {
    const double sample =
        symmetric[i] * Fade(static_cast<double>(i) / static_cast<double>(half + 1));
    filter[half + i] = sample;
    filter[half - i] = sample;
  }
  return filter;
}

std::vector<double> PhasedFilter(const Curve& curve, const Curve& degrees, double rate,
                                 size_t taps) {
  std::vector<Complex> bins = MinimumPhase(GainsOf(curve, rate));
  const GridReader phase(degrees);
  for (size_t k = 0; k < bins.size(); ++k) {
    bins[k] *= std::polar(1.0, phase.At(BinFrequency(k, rate, kCepstrumSize)) / kDegreesPerRadian);
  }
  const std::vector<double> circle = SignalOf(bins);
  // 2 ms, or what few taps leave; faded in over the first half of it.
  constexpr double kEarlySeconds = 0.002;
  const size_t early = std::min(static_cast<size_t>(std::lround(kEarlySeconds * rate)), taps / 4);
  std::vector<double> filter(taps);
  for (size_t i = 0; i < taps; ++i) {
    filter[i] = circle[(i + circle.size() - early) % circle.size()];
    if (2 * i < early) {
      filter[i] *= 1.0 - Fade(2.0 * (static_cast<double>(i) + 0.5) / static_cast<double>(early));
    }
  }
  return CutAndFaded(filter, taps);
}

Curve ExcessPhase(const Measurement& measurement, Range range, const std::vector<double>& grid,
                  double rate) {
  const Curve magnitude = OnGrid({measurement.frequency_hz, measurement.magnitude_db}, grid);
  const std::vector<Complex> minimum = MinimumPhase(GainsOf(magnitude, rate));
  std::vector<double> minimum_degrees;
  minimum_degrees.reserve(minimum.size());
  double turned = 0.0;
  for (size_t k = 0; k < minimum.size(); ++k) {
    if (k > 0) turned += std::arg(minimum[k] * std::conj(minimum[k - 1])) * kDegreesPerRadian;
    minimum_degrees.push_back(turned);
  }
  const auto minimum_at = [&](double hz) {
    const double place = hz / rate * static_cast<double>(kCepstrumSize);
    const auto before = std::min(static_cast<size_t>(place), minimum_degrees.size() - 2);
    const double part = place - static_cast<double>(before);
    return minimum_degrees[before] + part * (minimum_degrees[before + 1] - minimum_degrees[before]);
  };
  Curve excess;
  excess.hz = grid;
  std::vector<double> hz_within;
  std::vector<double> degrees_within;
  for (const double hz : grid) {
    const double held = std::clamp(hz, range.from_hz, range.to_hz);
    excess.db.push_back(ValueAt(measurement.frequency_hz, measurement.phase_degrees, held) -
                        minimum_at(held));
    if (held == hz) {
      hz_within.push_back(hz);
      degrees_within.push_back(excess.db.back());
    }
  }
  // A delay is no fault of the loudspeaker, and neither is its polarity.
  const StraightLine line = LineThrough(hz_within, degrees_within);
  const double turn = 180.0 * std::round(line.a / 180.0);
  for (size_t i = 0; i < grid.size(); ++i) {
    excess.db[i] -= turn + line.b * std::clamp(grid[i], range.from_hz, range.to_hz);
  }
  return Smoothed(excess, kPhaseSmoothingOctaves);
}

FineGain::FineGain(const std::vector<double>& impulse, double rate)
    : bins_(BinsOf(impulse, kCepstrumSize)), step_hz_(rate / static_cast<double>(kCepstrumSize)) {}

double FineGain::DbAt(double hz) const {
  // Logarithms take longer than the transform: only of the bins that are asked for.
  const auto db = [this](size_t bin) { return std::max(ToDb(std::abs(bins_[bin])), kLeastDb); };
  const double place = std::clamp(hz / step_hz_, 0.0, static_cast<double>(bins_.size() - 1));
  const auto before = std::min(static_cast<size_t>(place), bins_.size() - 2);
  const double part = place - static_cast<double>(before);
  return db(before) + part * (db(before + 1) - db(before));
}

}  // namespace brelmo::tavi::tools
