// Numbers as commands write them in JSON.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

namespace brelmo::tavi::tools {

nlohmann::ordered_json OptionalNumber(const std::optional<size_t>& number);  // null for none
// Null for what is no finite number.
nlohmann::ordered_json ToJson(double value);
// As short as a float may be written.
nlohmann::ordered_json ToJson(float value);
// To so many decimals.
nlohmann::ordered_json Rounded(double value, int decimals);
nlohmann::ordered_json RoundedArray(const std::vector<double>& values, int decimals);

}  // namespace brelmo::tavi::tools
