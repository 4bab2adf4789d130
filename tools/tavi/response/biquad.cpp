#include "response/biquad.h"

#include <cmath>

#include <array>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using Coefficients = std::array<double, 3>;

Complex SecondOrder(Complex z1, const Coefficients& b, const Coefficients& a) {
  return (b[0] + z1 * (b[1] + z1 * b[2])) / (a[0] + z1 * (a[1] + z1 * a[2]));
}

// `side` 1 is a low shelf; -1 mirrors it into a high shelf.
Complex Shelf(Complex z1, double cosine, double alpha, double gain, double side) {
  const double up = gain + 1;
  const double down = (gain - 1) * side;
  const double slope = 2 * std::sqrt(gain) * alpha;
  const double turn = cosine * side;
  return SecondOrder(
      z1,
      {gain * (up - (gain - 1) * turn + slope), 2 * gain * (down - up * cosine),
       gain * (up - (gain - 1) * turn - slope)},
      {up + (gain - 1) * turn + slope, -2 * (down + up * cosine), up + (gain - 1) * turn - slope});
}

bool HasCorner(FilterKind kind) { return kind != FilterKind::kGain && kind != FilterKind::kDelay; }

}  // namespace

std::string FilterFault(const Filter& filter, double rate) {
  // Beyond it neither a power of ten nor what is made of it is finite.
  constexpr double kMostDb = 200.0;
  if (!(std::abs(filter.db) <= kMostDb)) return Format("db is to lie within +-%g dB", kMostDb);
  if (filter.kind == FilterKind::kDelay &&
      (filter.samples < 0 || filter.samples >= static_cast<int>(kFilterLength))) {
    return "a delay is a whole number of samples, 0 to 511";
  }
  if (!HasCorner(filter.kind)) return "";
  if (!(filter.hz > 0.0 && filter.hz < rate / 2)) {
    return Format("hz is to lie between 0 and half the sampling rate, %g Hz", rate / 2);
  }
  constexpr double kLeastQ = 1e-3;
  constexpr double kMostQ = 1e3;
  if (!(filter.q >= kLeastQ && filter.q <= kMostQ)) return "q is to lie between 0.001 and 1000";
  return "";
}

Complex ResponseOf(const Filter& filter, Complex z1, double rate) {
  const double angle = 2 * M_PI * filter.hz / rate;
  const double cosine = std::cos(angle);
  const double alpha = std::sin(angle) / (2 * filter.q);  // half the bandwidth
  const double gain = FromDb(filter.db / 2);
  const Coefficients pole = {1 + alpha, -2 * cosine, 1 - alpha};
  switch (filter.kind) {
    case FilterKind::kGain:
      return FromDb(filter.db);
    case FilterKind::kDelay:
      return std::pow(z1, filter.samples);
    case FilterKind::kHighPass: {
      const double edge = (1 + cosine) / 2;
      return SecondOrder(z1, {edge, -2 * edge, edge}, pole);
    }
    case FilterKind::kLowPass: {
      const double edge = (1 - cosine) / 2;
      return SecondOrder(z1, {edge, 2 * edge, edge}, pole);
    }
    case FilterKind::kLowShelf:
      return Shelf(z1, cosine, alpha, gain, 1);
    case FilterKind::kHighShelf:
      return Shelf(z1, cosine, alpha, gain, -1);
    case FilterKind::kPeak:
      return SecondOrder(z1, {1 + alpha * gain, -2 * cosine, 1 - alpha * gain},
                         {1 + alpha / gain, -2 * cosine, 1 - alpha / gain});
    case FilterKind::kAllPass:
      return SecondOrder(z1, {1 - alpha, -2 * cosine, 1 + alpha}, pole);
  }
  return 1.0;
}

Complex ResponseOf(const Filter& filter, double hz, double rate) {
  return ResponseOf(filter, std::polar(1.0, -2 * M_PI * hz / rate), rate);
}

std::vector<Complex> ChainBins(const std::vector<Filter>& chain, double rate, size_t count) {
  std::vector<Complex> bins;
  bins.reserve(count);
  for (size_t k = 0; k < count; ++k) {
    Complex z1 = std::polar(1.0, -M_PI * static_cast<double>(k) / static_cast<double>(count - 1));
    // Exact at both ends of the half circle, so that the first and the last bin are real.
    if (k == 0) z1 = 1.0;
    if (k == count - 1) z1 = -1.0;
    Complex product = 1.0;
    for (const Filter& filter : chain) product *= ResponseOf(filter, z1, rate);
    bins.push_back(product);
  }
  return bins;
}

}  // namespace brelmo::tavi::tools
