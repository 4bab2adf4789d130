// How loud a channel plays speech, and how two channels lie to each other.
#pragma once

#include <vector>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

// The share of speech's power that an octave at `hz` has, relative to one at 200 to 500 Hz: 1
// there, falling by 6 dB an octave above, 0 below 200 and above 8000 Hz. An approximation of the
// long-term spectrum of talkers, stated here and taken from no table; levels are for comparison
// with one another.
double SpeechPower(double hz);

// The gain for such speech, in dB: the mean of |H|^2 over octaves, weighted with SpeechPower,
// between the bins too. -infinity for a response of zeros.
double SpeechLevelDb(const std::vector<Complex>& bins, double rate);

struct PairDifference {
  double level_db = 0.0;       // the second's speech level less the first's
  double delay_samples = 0.0;  // how much later the second is; half the circle at most
  bool is_inverted = false;    // the second plays the other way round
  // How alike they are at that delay, 0 to 1; a low value makes delay and polarity doubtful.
  double similarity = 0.0;
};

// Both have as many bins. Delay and polarity are where the correlation of the two in the speech's
// range has its greatest magnitude.
PairDifference ComparePair(const std::vector<Complex>& first, const std::vector<Complex>& second,
                           double rate);

}  // namespace brelmo::tavi::tools
