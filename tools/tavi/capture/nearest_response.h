// How far responses are from each other.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

// The greatest difference of magnitude of any bin in dB. Empty where the numbers of bins differ or
// a bin is a NaN. Bins that are 0 in both do not differ, in one of them they differ by infinity.
std::optional<double> MagnitudeDistance(const std::vector<float>& a, const std::vector<float>& b);

// 257 bins of 1 + 0i: what the module plays for an unusable file.
bool IsFlatResponse(const std::vector<float>& response);

struct NamedResponse {
  std::string name;
  const std::vector<float>* response = nullptr;  // borrowed
};

// "0.3 dB from a.txt, all others more than 6 dB"; empty unless a known one has as many bins.
std::string DescribeNearest(const std::vector<float>& response,
                            const std::vector<NamedResponse>& known);

}  // namespace brelmo::tavi::tools
