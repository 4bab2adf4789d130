// The work of `tavi diagnose`.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "diagnose/candidate.h"

namespace brelmo::tavi::tools {

struct DiagnoseOptions {
  std::vector<std::string> files;
  std::vector<CandidateSource> candidates;
  std::vector<InputFile> inputs;  // what else is read: the candidates' files
  std::optional<std::string> scenario;
  std::optional<std::string> write_config;
  std::string format = "text";
  bool is_forced = false;  // outputs that exist are replaced
};

// Prints the diagnosis and returns 1 when something was wrong, else 0. Throws InputError.
int DiagnoseFiles(const DiagnoseOptions& options);

}  // namespace brelmo::tavi::tools
