// Responses as text: tables of any separator and number format.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/finding.h"

namespace brelmo::tavi::tools {

struct ResponseTable {
  // As long as each other; frequencies ascend and are above 0. No phase: empty.
  std::vector<double> frequency_hz;
  std::vector<double> magnitude_db;
  std::vector<double> phase_degrees;
  // How it was read, as ReadingSummary has it.
  std::string separator;
  std::string decimal_sign;
  std::string thousands;
  std::vector<std::string> columns;
  std::vector<std::string> unused_columns;
  size_t comment_lines = 0;
  size_t header_lines = 0;
};

struct TableResult {
  std::optional<ResponseTable> table;  // empty when a finding is an error
  std::vector<Finding> findings;
  std::optional<Finding> smoothed;  // what to say of a measurement whose comments tell of smoothing
};

// Tries every separator with every number format. The one reading that fits all data lines is
// taken, or the text is refused. `wanted` is as ReadOptions::columns.
TableResult ReadTable(const std::string& file, std::string_view text,
                      const std::vector<std::string>& wanted);

}  // namespace brelmo::tavi::tools
