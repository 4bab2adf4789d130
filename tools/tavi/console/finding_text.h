// A finding for people at a terminal.
#pragma once

#include <string>
#include <vector>

#include "console/finding.h"

namespace brelmo::tavi::tools {

// Writes to standard output: place, severity, message and name; the consequence; the line in
// question with a marker under it; an empty line. `config_text` is what offsets of findings refer
// to; it may be empty where none has one.
void PrintFinding(const Finding& finding, const std::string& config_text, bool is_colour);

// "1 error, 2 warnings, 0 notes", in the colour of the most severe.
void PrintFindingCounts(const std::vector<Finding>& findings, bool is_colour);

}  // namespace brelmo::tavi::tools
