// The configuration of a device, as far as its dump gives it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "capture/dump_text.h"

namespace brelmo::tavi::tools {

struct RecoveredConfig {
  std::string text;
  // What the dump does not have, a sentence each: "case 0: ...".
  std::vector<std::string> doubts;
};

// None for a dump that is not complete, or has no case.
std::optional<RecoveredConfig> RecoverConfig(const Dump& dump);

}  // namespace brelmo::tavi::tools
