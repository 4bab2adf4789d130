#include "response/smoothing.h"

#include <cmath>

#include <algorithm>
#include <vector>

namespace brelmo::tavi::tools {

Curve Smoothed(const Curve& curve, double octaves) {
  const size_t count = curve.hz.size();
  if (count < 2) return curve;
  // Half the height lies sqrt(2 ln 2) deviations from the centre.
  const double deviation = octaves / (2.0 * std::sqrt(2.0 * std::log(2.0)));
  const double step =
      std::log2(curve.hz.back() / curve.hz.front()) / static_cast<double>(count - 1);
  constexpr double kDeviations = 4.0;
  const auto reach = static_cast<size_t>(kDeviations * deviation / step);
  std::vector<double> weights;
  weights.reserve(reach + 1);
  for (size_t i = 0; i <= reach; ++i) {
    const double place = static_cast<double>(i) * step / deviation;
    weights.push_back(std::exp(-place * place / 2));
  }
  Curve result;
  result.hz = curve.hz;
  result.db.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    double sum = 0.0;
    double weight_sum = 0.0;
    for (size_t j = i - std::min(i, reach); j <= std::min(i + reach, count - 1); ++j) {
      const double weight = weights[j > i ? j - i : i - j];
      sum += weight * curve.db[j];
      weight_sum += weight;
    }
    result.db.push_back(sum / weight_sum);
  }
  return result;
}

}  // namespace brelmo::tavi::tools
