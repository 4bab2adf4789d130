// Where captures may go.
#pragma once

#include <string_view>
#include <vector>

#include "console/output.h"

namespace brelmo::tavi::tools {

// Whether a file that begins like this is a capture, or one that was cut.
bool IsCapture(std::string_view beginning);

// The rules for a new capture's file: it replaces captures alone.
OutputRules CaptureRules(std::vector<InputFile> inputs, bool is_forced);

}  // namespace brelmo::tavi::tools
