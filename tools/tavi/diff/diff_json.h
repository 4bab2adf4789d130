// What differs, for programs.
#pragma once

#include <nlohmann/json.hpp>

#include "diff/config_difference.h"

namespace brelmo::tavi::tools {

nlohmann::ordered_json ToJson(const ChannelDiff& diff);
nlohmann::ordered_json ToJson(const ConfigDiff& diff);

}  // namespace brelmo::tavi::tools
