// Something found in what a user gave: in a configuration, a data file, a measurement.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

enum class Severity { kNote, kWarning, kError };

// "note", "warning", "error".
const char* SeverityName(Severity severity);

struct Finding {
  std::string name;  // of the diagnostic, for scripts: "malformed-item", ...
  Severity severity = Severity::kNote;
  std::optional<size_t> case_number;  // counted from 0
  std::string message;                // what is wrong
  std::string consequence;            // what follows from it, and the usual cure

  // Where it stands: in a file, or in the text that is called "configuration". Lines and columns
  // are counted from 1, columns in bytes; a column of 0 is the place as a whole.
  std::string file;
  size_t line = 0;
  size_t column = 0;
  // The bytes in question in the configuration text; empty in any other file.
  std::optional<size_t> offset;
  size_t length = 0;  // also of the bytes in question in `line_text`
  // Of any other file the line, without its line feed; empty for the file as a whole.
  std::string line_text;
};

// A finding without a place.
Finding MakeFinding(const std::string& name, Severity severity, std::optional<size_t> case_number,
                    const std::string& message, const std::string& consequence);

// How many of `findings` are that severe.
size_t CountOf(const std::vector<Finding>& findings, Severity severity);
// Whether they make a command fail: an error does, and where it `is_strict` a warning.
bool IsBroken(const std::vector<Finding>& findings, bool is_strict);

}  // namespace brelmo::tavi::tools
