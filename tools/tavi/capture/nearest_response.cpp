#include "capture/nearest_response.h"

#include <cmath>

#include <algorithm>
#include <limits>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kFlatBins = 257;

std::string Decibels(double value) { return Format("%.1f dB", value); }

}  // namespace

std::optional<double> MagnitudeDistance(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size() || a.empty()) return std::nullopt;
  double greatest = 0;
  for (size_t i = 0; i + 1 < a.size(); i += 2) {
    const double one = std::hypot(a[i], a[i + 1]);
    const double other = std::hypot(b[i], b[i + 1]);
    if (std::isnan(one) || std::isnan(other)) return std::nullopt;
    if (one == other) continue;
    greatest = one == 0 || other == 0 ? std::numeric_limits<double>::infinity()
                                      : std::max(greatest, std::fabs(20 * std::log10(one / other)));
  }
  return greatest;
}

bool IsFlatResponse(const std::vector<float>& response) {
  if (response.size() != 2 * kFlatBins) return false;
  for (size_t i = 0; i < response.size(); i += 2) {
    if (response[i] != 1 || response[i + 1] != 0) return false;
  }
  return true;
}

std::string DescribeNearest(const std::vector<float>& response,
                            const std::vector<NamedResponse>& known) {
  std::vector<std::pair<double, std::string>> distances;
  for (const NamedResponse& other : known) {
    const auto distance = MagnitudeDistance(response, *other.response);
    if (distance && std::isfinite(*distance)) {
      distances.emplace_back(*distance, Printable(other.name));
    }
  }
  if (distances.empty()) return "";
  std::sort(distances.begin(), distances.end());
  distances.erase(std::unique(distances.begin(), distances.end()), distances.end());
  std::string text = Decibels(distances[0].first) + " from " + distances[0].second;
  if (distances[0].first == 0) text += " but for the phase";
  // Others whose difference cannot be told from it.
  constexpr double kSame = 0.05;
  size_t next = 1;
  for (; next < distances.size() && distances[next].first < distances[0].first + kSame; ++next) {
    text += " and " + distances[next].second;
  }
  if (next < distances.size()) {
    text += ", all others " + Decibels(std::floor(distances[next].first * 10) / 10) + " or more";
  }
  return text;
}

}  // namespace brelmo::tavi::tools
