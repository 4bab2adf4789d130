// The causal filter of least delay that has a given magnitude.
#pragma once

#include <vector>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

// Points of the transform with which phase is derived here. With fewer the cepstrum folds over: 512
// points are 3.5 degrees off where 8192 are 0.02.
constexpr size_t kCepstrumSize = 8192;

// The bins with these magnitudes, from 0 Hz to half the rate, and minimum phase. `gains` are
// `kCepstrumSize` / 2 + 1 or any 2^n + 1; those below -200 dB of the greatest are taken as that.
std::vector<Complex> MinimumPhase(const std::vector<double>& gains);

}  // namespace brelmo::tavi::tools
