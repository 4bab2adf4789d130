// Captures: where they go, and printed message by message.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "capture/case_lookup.h"
#include "console/output.h"

namespace brelmo::tavi::tools {

// Whether a file that begins like this is a capture, or one that was cut.
bool IsCapture(std::string_view beginning);

// The rules for a new capture's file: it replaces captures alone.
OutputRules CaptureRules(std::vector<InputFile> inputs, bool is_forced);

// Prints the messages of the capture in the file, each on a line of text or as a JSON object, with
// the data files of `cases`, which may be null. Throws InputError for what is no capture, and
// behind the messages before the damage for a damaged one.
void PutCapture(const std::string& path, const CaseTable* cases, bool is_json);

}  // namespace brelmo::tavi::tools
