// Findings about a data file: whether the module can use it, and what it then sends.
#pragma once

#include <string>
#include <vector>

#include "console/finding.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

struct DataFile {
  std::string name;                                             // as configured
  std::string path;                                             // for messages
  const audio::compensation::CompensationData* data = nullptr;  // as the engine read it; borrowed
  // The cases that play it, by channel, ascending; not both are empty.
  std::vector<size_t> left_cases;
  std::vector<size_t> right_cases;
};

// Reads the file again, through the data folder in force, where a finding needs its lines. A
// finding without a `file` is about the name in the configuration.
std::vector<Finding> CheckDataFile(const DataFile& file, double max_gain_db);

}  // namespace brelmo::tavi::tools
