// JSON as commands print it.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace brelmo::tavi::tools {

// On one line, or with this many blanks for each level. ASCII alone, so that a terminal takes no
// part of it for a command; bytes that are no UTF-8 become U+FFFD.
std::string JsonText(const nlohmann::ordered_json& value, int indent = -1);

}  // namespace brelmo::tavi::tools
