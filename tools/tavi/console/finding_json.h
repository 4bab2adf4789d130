// A finding for other programs.
#pragma once

#include <vector>

#include <nlohmann/json.hpp>

#include "console/finding.h"

namespace brelmo::tavi::tools {

// An object with the members of a finding; null for what it does not have.
nlohmann::ordered_json FindingToJson(const Finding& finding);
// An array of them.
nlohmann::ordered_json FindingsToJson(const std::vector<Finding>& findings);

}  // namespace brelmo::tavi::tools
