// Findings about a data file: whether the module can use it, and what it then sends.
#pragma once

#include <vector>

#include "check/played_file.h"
#include "console/finding.h"

namespace brelmo::tavi::tools {

// Reads the file again, through the data folder in force, where a finding needs its lines. A
// finding without a `file` is about the name in the configuration.
std::vector<Finding> CheckDataFile(const DataFile& file, double max_gain_db);

}  // namespace brelmo::tavi::tools
