// Phase as it is measured: wrapped into a turn, and turning with the sound's way to the microphone.
#pragma once

#include <vector>

namespace brelmo::tavi::tools {

// A delay turns the phase by -360 degrees * frequency * seconds.
double DelayDegrees(double frequency_hz, double seconds);

// From one point to the next the phase turns by half a turn at most.
void UnwrapPhase(std::vector<double>& degrees);

// The delay that the slope of an unwrapped phase tells, from `from_hz` on up to where the phase
// turns too fast or `to_hz`; 0 when there are too few points.
double EstimateDelay(const std::vector<double>& frequency_hz, const std::vector<double>& degrees,
                     double from_hz, double to_hz);

// Of the steps in the range so many may turn by more than 120 degrees.
constexpr double kMaxFastShare = 0.05;

struct SortedPhase {
  std::vector<double> degrees;  // unwrapped; empty when the points are too far apart for it
  double delay_seconds = 0.0;   // that was taken off
  // The share of steps in the range that turn by more than 120 degrees, as read and now.
  double fast_share = 0.0;
  double fast_share_left = 0.0;
};

// Unwraps a measured phase. When more than 5 % of the steps in the range are too fast a delay is
// taken off first, and always when `remove_delay`.
SortedPhase SortPhase(const std::vector<double>& frequency_hz, const std::vector<double>& degrees,
                      double from_hz, double to_hz, bool remove_delay);

}  // namespace brelmo::tavi::tools
