// A finding for other programs.
#pragma once

#include <nlohmann/json.hpp>

#include "console/finding.h"

namespace brelmo::tavi::tools {

// An object with the members of a finding; null for what it does not have.
nlohmann::ordered_json FindingToJson(const Finding& finding);

}  // namespace brelmo::tavi::tools
