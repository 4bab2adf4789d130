#pragma once

#include <cstdlib>
#include <string>

namespace brelmo::tavi::test {

// The build's own library, or the one that TAVI_MODULE names.
inline std::string ModulePath() {
  const char* const path = std::getenv("TAVI_MODULE");
  return path != nullptr ? path : TAVI_MODULE_FILE;
}

}  // namespace brelmo::tavi::test
