// A report, written where the user wants it.
#pragma once

#include <string>
#include <vector>

#include "console/output.h"
#include "report/report_data.h"

namespace brelmo::tavi::tools {

struct ReportOutput {
  std::string path;             // "-", or empty for json: standard output
  std::string format = "html";  // or json
  bool is_forced = false;
  std::vector<InputFile> inputs;
};

// Also says in a line what the report comes to. Throws InputError.
void WriteReport(const std::string& text, const ReportOptions& options, const ReportOutput& output);

}  // namespace brelmo::tavi::tools
