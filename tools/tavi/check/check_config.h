// Everything that a desk can find out about a configuration before it is flashed.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "check/filter_check.h"
#include "check/posture_probe.h"
#include "console/finding.h"

namespace brelmo::tavi::tools {

struct CheckOptions {
  std::string config_name = "configuration";  // what to call the text in findings
  std::string data_root;      // for messages; empty for the device's own data folder
  double max_gain_db = 12.0;  // limit of the finding "high-gain"
  FilterLimits filter;        // those of what the files are as filters
};

struct CheckResult {
  std::vector<Finding> findings;        // in the order of the text, those about postures last
  std::vector<PostureResult> postures;  // in the order of AllPostures()
  size_t file_count = 0;                // data files that were looked at
  size_t case_count = 0;                // cases that stand in the text
  size_t cases_in_force = 0;            // those that the module accepts, always the first ones
};

// Reads `text` and the data files it names, through the data folder in force, by means of the
// module's own reader and engine, and explains what they do. Logs nothing.
CheckResult CheckConfig(const std::string& text, const CheckOptions& options);

}  // namespace brelmo::tavi::tools
