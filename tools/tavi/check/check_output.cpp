#include "check/check_output.h"

#include <cstdio>

#include <nlohmann/json.hpp>

#include "console/finding_json.h"
#include "console/finding_text.h"
#include "console/json_text.h"
#include "console/terminal.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

void PutCheckResult(const CheckResult& result, const std::string& text,
                    const std::string& config_name, bool is_json) {
  if (is_json) {
    // A file name may hold any bytes.
    std::printf("%s\n", JsonText(FindingsToJson(result.findings), 2).c_str());
    return;
  }
  const bool is_colour = IsColourWanted();
  for (const Finding& finding : result.findings) PrintFinding(finding, text, is_colour);
  std::string cases = Count(result.case_count, "case");
  if (result.cases_in_force != result.case_count) {
    cases += " (" + std::to_string(result.cases_in_force) + " in force)";
  }
  Print(false, colour::kPlain,
        Printable(config_name) + ": looked at " + cases + ", " +
            Count(result.postures.size(), "posture") + " and " +
            Count(result.file_count, "data file") + "\n");
  PrintFindingCounts(result.findings, is_colour);
}

}  // namespace brelmo::tavi::tools
