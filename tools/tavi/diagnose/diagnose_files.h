// The work of `tavi diagnose`.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

struct DiagnoseOptions {
  std::vector<std::string> files;
  std::vector<std::string> configs;
  std::vector<std::string> config_texts;  // behind the files
  std::vector<std::string> data_roots;    // none, one for all configurations, or one for each
  std::optional<std::string> scenario;
  std::optional<std::string> write_config;
  std::string format = "text";
};

// Prints the diagnosis and returns 1 when something was wrong, else 0. Throws InputError.
int DiagnoseFiles(const DiagnoseOptions& options);

}  // namespace brelmo::tavi::tools
