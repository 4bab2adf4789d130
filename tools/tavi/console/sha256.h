// What tells one content from another, for manifests and reports.
#pragma once

#include <string>
#include <string_view>

namespace brelmo::tavi::tools {

// SHA-256 as 64 lower-case hexadecimal digits.
std::string Sha256(std::string_view content);

}  // namespace brelmo::tavi::tools
