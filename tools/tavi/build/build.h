// tavi build: everything that a device needs, from one source.
#pragma once

#include <string>

namespace brelmo::tavi::tools {

struct BuildOptions {
  std::string source;
  std::string folder;
  std::string product_lines;  // a file for them; empty for none
  bool is_check = false;      // write nothing; compare
  bool is_strict = false;     // warnings are errors
  bool is_forced = false;
};

// Says on standard output what was found and what came of it. True when the folder was written, or
// with is_check is what the source makes. Throws InputError for what can be neither read nor
// written. Whatever goes wrong, the folder is as it was.
bool Build(const BuildOptions& options);

}  // namespace brelmo::tavi::tools
