#include "console/finding.h"

#include <algorithm>

namespace brelmo::tavi::tools {

const char* SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return "note";
    case Severity::kWarning:
      return "warning";
    case Severity::kError:
      break;
  }
  return "error";
}

Finding MakeFinding(const std::string& name, Severity severity, std::optional<size_t> case_number,
                    const std::string& message, const std::string& consequence) {
  Finding finding;
  finding.name = name;
  finding.severity = severity;
  finding.case_number = case_number;
  finding.message = message;
  finding.consequence = consequence;
  return finding;
}

size_t CountOf(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [severity](const Finding& finding) { return finding.severity == severity; }));
}

bool IsBroken(const std::vector<Finding>& findings, bool is_strict) {
  return CountOf(findings, Severity::kError) > 0 ||
         (is_strict && CountOf(findings, Severity::kWarning) > 0);
}

}  // namespace brelmo::tavi::tools
