#include "console/finding_text.h"

#include <cstddef>

#include <algorithm>

#include "console/excerpt.h"
#include "console/terminal.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kIndent = "    ";
// What an excerpt takes at most beside its text: the indent and an ellipsis at each end.
constexpr size_t kExcerptMargin = 6;
constexpr size_t kExcerptWidth = 90;  // of what is not for a terminal

const char* ColourOf(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return colour::kCyan;
    case Severity::kWarning:
      return colour::kYellow;
    case Severity::kError:
      break;
  }
  return colour::kRed;
}

void PrintExcerpt(const Finding& finding, const std::string& config_text, bool is_colour) {
  const std::string& line = finding.offset ? config_text : finding.line_text;
  if (line.empty()) return;
  const size_t offset = finding.offset.value_or(finding.column - 1);
  constexpr size_t kLeast = 20;
  const size_t columns = TerminalColumns();
  const size_t width =
      columns == 0 ? kExcerptWidth : std::max(columns, kExcerptMargin + kLeast) - kExcerptMargin;
  const Excerpt excerpt = MakeExcerpt(line, offset, finding.length, std::min(width, kExcerptWidth));
  Print(false, "", kIndent + excerpt.text + "\n" + kIndent);
  Print(is_colour, colour::kGreen, excerpt.marker);
  Print(false, "", "\n");
}

}  // namespace

void PrintFinding(const Finding& finding, const std::string& config_text, bool is_colour) {
  std::string place = Printable(finding.file);
  if (finding.column > 0) {
    place += ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
  }
  Print(is_colour, colour::kBold, place + ": ");
  Print(is_colour, ColourOf(finding.severity), std::string(SeverityName(finding.severity)) + ": ");
  Print(is_colour, colour::kBold, finding.message);
  Print(false, "", " [" + finding.name + "]\n");
  Print(false, "", kIndent + finding.consequence + "\n");
  if (finding.column > 0) PrintExcerpt(finding, config_text, is_colour);
  Print(false, "", "\n");
}

void PrintFindingCounts(const std::vector<Finding>& findings, bool is_colour) {
  const size_t errors = CountOf(findings, Severity::kError);
  const size_t warnings = CountOf(findings, Severity::kWarning);
  const char* colour = errors > 0 ? colour::kRed : warnings > 0 ? colour::kYellow : colour::kGreen;
  Print(is_colour, colour,
        Count(errors, "error") + ", " + Count(warnings, "warning") + ", " +
            Count(CountOf(findings, Severity::kNote), "note"));
  Print(false, "", "\n");
}

}  // namespace brelmo::tavi::tools
