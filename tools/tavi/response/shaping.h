// Filters of 512 samples from the magnitude that they are to have.
#pragma once

#include <cstddef>

#include <vector>

#include "response/curve.h"
#include "response/measurement.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

// The first `taps` samples, those of the second half faded out.
std::vector<double> CutAndFaded(const std::vector<double>& impulse, size_t taps);

// A curve as gains on the points of a transform of kCepstrumSize; linear over logarithmic
// frequency, held beyond its ends.
std::vector<double> GainsOf(const Curve& curve, double rate);

std::vector<double> MinimumPhaseFilter(const Curve& curve, double rate, size_t taps);
// Symmetric about its middle, of `taps` or one less: an odd number.
std::vector<double> LinearPhaseFilter(const Curve& curve, double rate, size_t taps);
// Of minimum phase and `degrees` besides; it begins somewhat later, so that some of it can come
// early.
std::vector<double> PhasedFilter(const Curve& curve, const Curve& degrees, double rate,
                                 size_t taps);

// In degrees, as the `db` of a curve on `grid`: what the measurement's phase has within the range
// beyond the minimum phase of its magnitude and a delay, smoothed; held outside the range.
Curve ExcessPhase(const Measurement& measurement, Range range, const std::vector<double>& grid,
                  double rate);

// The gain of an impulse response at any frequency, between the points of a fine transform.
class FineGain {
 public:
  FineGain(const std::vector<double>& impulse, double rate);
  double DbAt(double hz) const;

 private:
  std::vector<Complex> bins_;
  double step_hz_;
};

}  // namespace brelmo::tavi::tools
