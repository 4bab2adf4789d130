// Which columns of a table are frequency, magnitude and phase.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "console/finding.h"

namespace brelmo::tavi::tools {

struct ColumnChoice {  // counted from 0
  size_t frequency = 0;
  size_t magnitude = 1;
  std::optional<size_t> phase;
};

// Whether a header's name is one for frequencies.
bool IsFrequencyName(const std::string& name);

// `names` is as long as `count`, the number of columns, or empty when there is no header. `wanted`
// is as ReadOptions::columns. A finding, without a place, when the columns cannot be told.
std::variant<ColumnChoice, Finding> ChooseColumns(const std::vector<std::string>& names,
                                                  size_t count,
                                                  const std::vector<std::string>& wanted);

// "2 (SPL(dB))", or "2" without names.
std::string ColumnLabel(const std::vector<std::string>& names, size_t column);

}  // namespace brelmo::tavi::tools
