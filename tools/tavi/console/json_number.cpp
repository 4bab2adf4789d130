#include "console/json_number.h"

#include <charconv>
#include <cmath>

#include <array>

namespace brelmo::tavi::tools {

using Json = nlohmann::ordered_json;

Json OptionalNumber(const std::optional<size_t>& number) { return number ? Json(*number) : Json(); }

Json ToJson(double value) { return std::isfinite(value) ? Json(value) : Json(); }

Json ToJson(float value) {
  if (!std::isfinite(value)) return Json();
  std::array<char, 64> text{};
  const auto written = std::to_chars(text.data(), text.data() + text.size(), value);
  double shortest = value;
  std::from_chars(text.data(), written.ptr, shortest);
  return Json(shortest);
}

Json Rounded(double value, int decimals) {
  const double steps = std::pow(10.0, decimals);
  const double rounded = std::round(value * steps) / steps;
  return ToJson(rounded == 0.0 ? 0.0 : rounded);  // no negative zero
}

Json RoundedArray(const std::vector<double>& values, int decimals) {
  Json array = Json::array();
  for (const double value : values) array.push_back(Rounded(value, decimals));
  return array;
}

}  // namespace brelmo::tavi::tools
