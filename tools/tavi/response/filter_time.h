// What a data file is in time. Its n bins fix a filter of 2 (n - 1) samples on a circle, 512 for
// 257 bins, of which a DSP that works in blocks plays right only what is short enough for its
// scheme.
#pragma once

#include <cstddef>

#include <vector>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

// Taps that overlap-save with blocks of 512 samples and a hop of 256 plays without error.
constexpr size_t kPlayedTaps = 257;
// Fewer are no filter that a correction could be.
constexpr size_t kLeastTaps = 16;
// What sounds this much earlier than the peak is no longer heard as one with it.
constexpr double kPreRingingSeconds = 0.001;

// A stretch of the circle.
struct Arc {
  int start = 0;  // sample; below 0 when the filter begins before its time 0, around the circle
  size_t length = 0;
};

struct FilterTime {
  std::vector<double> impulse;
  size_t peak = 0;             // sample of the greatest magnitude
  double delay_samples = 0.0;  // centre of energy; below 0 when it lies before time 0
  Arc arc_30db;                // the shortest that holds all but -30 dB of the energy
  Arc arc_60db;
  // Shares of the whole energy, in dB; -infinity for no energy.
  double beyond_taps_db = 0.0;  // outside the first 257 taps
  double pre_ringing_db = 0.0;  // earlier than 1 ms before the peak, around the circle included
  double worst_gain_db = 0.0;   // 20 log10 sum|h|: what a signal's samples can grow by at most
};

// Of an energy, a part as a share of the whole, in dB; -infinity for none.
double ShareDb(double part, double whole);

// `bins` as of SignalOf. A filter of zeros has no energy: empty arcs, shares of -infinity.
FilterTime MakeFilterTime(const std::vector<Complex>& bins, double rate);

// The shortest stretch of the circle that holds all but `left_out_db` of the energy; empty for
// zeros.
Arc ArcOf(const std::vector<double>& impulse, double left_out_db);

// The energy outside the first `taps` samples as a share of the whole, in dB.
double BeyondTapsDb(const std::vector<double>& impulse, size_t taps);

// In seconds, for each bin; NaN in a bin of 0.
std::vector<double> GroupDelay(const FilterTime& time, double rate);

// The greatest and the least gain of an impulse response, between the bins too: on 8192 frequencies
// up to half the rate.
struct GainExtremes {
  double highest_db = 0.0;
  double highest_hz = 0.0;
  double lowest_db = 0.0;
  double lowest_hz = 0.0;
};
GainExtremes ExtremesOf(const std::vector<double>& impulse, double rate);

}  // namespace brelmo::tavi::tools
