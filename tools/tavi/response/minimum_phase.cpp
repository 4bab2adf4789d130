#include "response/minimum_phase.h"

#include <cmath>
#include <cstddef>

#include <algorithm>

namespace brelmo::tavi::tools {

std::vector<Complex> MinimumPhase(const std::vector<double>& gains) {
  constexpr double kLeast = 1e-10;  // of the greatest gain: a logarithm needs some
  const double greatest = *std::max_element(gains.begin(), gains.end());
  if (!(greatest > 0.0)) return std::vector<Complex>(gains.size());
  std::vector<Complex> logarithms;
  logarithms.reserve(gains.size());
  for (const double gain : gains) {
    logarithms.emplace_back(std::log(std::max(gain, kLeast * greatest)));
  }
  // A filter has minimum phase when the cepstrum of its gain stands at positive times only.
  std::vector<double> cepstrum = SignalOf(logarithms);
  const size_t half = cepstrum.size() / 2;
  for (size_t i = 1; i < half; ++i) cepstrum[i] *= 2.0;
  std::fill(cepstrum.begin() + static_cast<std::ptrdiff_t>(half) + 1, cepstrum.end(), 0.0);
  std::vector<Complex> bins = BinsOf(cepstrum, cepstrum.size());
  for (Complex& bin : bins) bin = std::exp(bin);
  return bins;
}

}  // namespace brelmo::tavi::tools
