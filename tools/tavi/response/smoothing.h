// Smoothing over fractions of an octave.
#pragma once

#include "response/curve.h"

namespace brelmo::tavi::tools {

// With a Gaussian whose width at half its height is `octaves`. The curve's points are evenly
// spaced, as those of LogGrid are. All weights are positive: the result stays between the least and
// the greatest value under the kernel, and rings nowhere. At the ends the kernel is cut off, not
// the curve held.
Curve Smoothed(const Curve& curve, double octaves);

}  // namespace brelmo::tavi::tools
