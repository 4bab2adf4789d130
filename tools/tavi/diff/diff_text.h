// What differs, in words or for programs.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "diff/config_difference.h"

namespace brelmo::tavi::tools {

// A response that was captured and the nearest of a configuration.
struct CapturedDiff {
  size_t channel = 0;
  std::optional<size_t> case_number;
  std::string file;
  ChannelDiff diff;
};

// Each writes to standard output; as JSON one object.
void PutConfigDiff(const ConfigDiff& diff, bool is_json);
void PutResponseDiff(const ChannelDiff& diff, bool is_json);
void PutCaptureDiff(const std::vector<CapturedDiff>& diffs, bool is_json);

}  // namespace brelmo::tavi::tools
