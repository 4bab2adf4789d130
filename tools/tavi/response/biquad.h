// The filters that a correction is built from, as exact digital responses: second-order filters are
// the analogue prototypes under the bilinear transform, warped so that `hz` stays where it is.
#pragma once

#include <cstddef>

#include <string>
#include <vector>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

enum class FilterKind {
  kGain,       // db
  kDelay,      // samples
  kHighPass,   // hz, q
  kLowPass,    // hz, q
  kLowShelf,   // hz (where half of db is reached), db, q
  kHighShelf,  // the same
  kPeak,       // hz, db, q
  kAllPass,    // hz, q: half a turn at hz
};

constexpr double kButterworth =
    0.70710678118654757;  // the q of a filter without a bump at its corner

struct Filter {
  FilterKind kind = FilterKind::kGain;
  double hz = 0.0;
  double db = 0.0;
  double q = kButterworth;
  // Whole ones: half a sample has no real response at half the rate, which the last bin must have.
  int samples = 0;
};

// What is wrong with a filter at this rate, for a message: "hz is to lie between 0 and half the
// sampling rate, 24000 Hz"; empty when nothing is.
std::string FilterFault(const Filter& filter, double rate);

// The response where one sample's delay is `z1`, a point of the unit circle. The filter has no
// fault.
Complex ResponseOf(const Filter& filter, Complex z1, double rate);
// At a frequency.
Complex ResponseOf(const Filter& filter, double hz, double rate);

// The filters one after the other, on bins from 0 Hz to half the rate; the first and the last are
// real.
std::vector<Complex> ChainBins(const std::vector<Filter>& chain, double rate,
                               size_t count = kBinCount);

}  // namespace brelmo::tavi::tools
