// Everything that a desk can find out about a configuration before it is flashed.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "finding.h"
#include "posture_probe.h"

namespace brelmo::tavi::tools {

struct CheckOptions {
  std::string config_name = "configuration";  // what to call the text in findings
  std::string data_root;                      // for messages; empty for the device's own data folder
  double max_gain_db = 12.0;                  // limit of the finding "high-gain"
};

struct CheckResult {
  std::vector<Finding> findings;        // in the order of the text, those about postures last
  std::vector<PostureResult> postures;  // in the order of AllPostures()
  size_t file_count = 0;                // data files that were looked at
};

// Reads `text` and the data files it names, through the data folder in force, by means of the module's
// own reader and engine, and explains what they do. Logs nothing.
CheckResult CheckConfig(const std::string& text, const CheckOptions& options);

}  // namespace brelmo::tavi::tools
