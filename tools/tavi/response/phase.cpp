#include "response/phase.h"

#include <cmath>
#include <cstddef>

#include <algorithm>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

namespace {

// Wrapped phase stays within a turn, but for rounding.
constexpr double kWrappedSpan = kTurn + 0.5;
constexpr double kFastStep = 120.0;
// Up to here a step's direction is beyond doubt.
constexpr double kSureStep = 60.0;
constexpr size_t kLeastPoints = 4;
constexpr int kPasses = 4;

// The share of the steps between points in the range that are fast.
double FastShare(const std::vector<double>& frequency_hz, const std::vector<double>& degrees,
                 double from_hz, double to_hz) {
  size_t count = 0;
  size_t fast = 0;
  for (size_t i = 1; i < degrees.size(); ++i) {
    if (frequency_hz[i - 1] < from_hz || frequency_hz[i] > to_hz) continue;
    ++count;
    if (std::fabs(degrees[i] - degrees[i - 1]) > kFastStep) ++fast;
  }
  return count == 0 ? 0.0 : static_cast<double>(fast) / static_cast<double>(count);
}

// The slope of points [begin, end) by least squares, each weighted with the width that it stands
// for.
double SlopeDelay(const std::vector<double>& frequency_hz, const std::vector<double>& degrees,
                  size_t begin, size_t end) {
  if (end - begin < kLeastPoints) return 0.0;
  const auto weight = [&](size_t i) {
    return frequency_hz[std::min(i + 1, end - 1)] - frequency_hz[i == begin ? i : i - 1];
  };
  double sum = 0.0;
  double mean_frequency = 0.0;
  double mean_degrees = 0.0;
  for (size_t i = begin; i < end; ++i) {
    sum += weight(i);
    mean_frequency += weight(i) * frequency_hz[i];
    mean_degrees += weight(i) * degrees[i];
  }
  mean_frequency /= sum;
  mean_degrees /= sum;
  double product = 0.0;
  double square = 0.0;
  for (size_t i = begin; i < end; ++i) {
    const double offset = frequency_hz[i] - mean_frequency;
    product += weight(i) * offset * (degrees[i] - mean_degrees);
    square += weight(i) * offset * offset;
  }
  return -product / square / kTurn;
}

size_t FirstFrom(const std::vector<double>& frequency_hz, double from_hz) {
  return static_cast<size_t>(std::lower_bound(frequency_hz.begin(), frequency_hz.end(), from_hz) -
                             frequency_hz.begin());
}

void TakeDelay(const std::vector<double>& frequency_hz, std::vector<double>& degrees,
               double seconds) {
  for (size_t i = 0; i < degrees.size(); ++i) {
    degrees[i] -= DelayDegrees(frequency_hz[i], seconds);
  }
}

}  // namespace

double DelayDegrees(double frequency_hz, double seconds) { return -kTurn * frequency_hz * seconds; }

void UnwrapPhase(std::vector<double>& degrees) {
  for (size_t i = 1; i < degrees.size(); ++i) {
    degrees[i] = degrees[i - 1] + std::remainder(degrees[i] - degrees[i - 1], kTurn);
  }
}

double EstimateDelay(const std::vector<double>& frequency_hz, const std::vector<double>& degrees,
                     double from_hz, double to_hz) {
  const size_t begin = FirstFrom(frequency_hz, from_hz);
  size_t end = std::min(begin + 1, degrees.size());
  while (end < degrees.size() && frequency_hz[end] <= to_hz &&
         std::fabs(degrees[end] - degrees[end - 1]) < kSureStep) {
    ++end;
  }
  return SlopeDelay(frequency_hz, degrees, begin, end);
}

SortedPhase SortPhase(const std::vector<double>& frequency_hz, const std::vector<double>& degrees,
                      double from_hz, double to_hz, bool remove_delay) {
  SortedPhase sorted;
  sorted.degrees = degrees;
  const auto [least, greatest] = std::minmax_element(degrees.begin(), degrees.end());
  // What exceeds a turn was unwrapped by the program that wrote it, which knows more points.
  const bool is_wrapped = least != degrees.end() && *greatest - *least <= kWrappedSpan;
  if (is_wrapped) UnwrapPhase(sorted.degrees);
  const auto share = [&] { return FastShare(frequency_hz, sorted.degrees, from_hz, to_hz); };
  sorted.fast_share = sorted.fast_share_left = share();
  if (sorted.fast_share <= kMaxFastShare && !remove_delay) return sorted;

  if (!is_wrapped) {
    const size_t end = FirstFrom(frequency_hz, std::nextafter(to_hz, HUGE_VAL));
    const size_t begin = std::min(FirstFrom(frequency_hz, from_hz), end);
    sorted.delay_seconds = SlopeDelay(frequency_hz, sorted.degrees, begin, end);
    TakeDelay(frequency_hz, sorted.degrees, sorted.delay_seconds);
  }
  // Each pass knows the slope up to a higher frequency.
  for (int pass = 0; is_wrapped && pass < kPasses; ++pass) {
    const double more = EstimateDelay(frequency_hz, sorted.degrees, from_hz, to_hz);
    sorted.delay_seconds += more;
    TakeDelay(frequency_hz, sorted.degrees, more);
    UnwrapPhase(sorted.degrees);
  }
  sorted.fast_share_left = share();
  if (sorted.fast_share_left > kMaxFastShare) {
    sorted.degrees.clear();
    sorted.delay_seconds = 0.0;
  }
  return sorted;
}

}  // namespace brelmo::tavi::tools
