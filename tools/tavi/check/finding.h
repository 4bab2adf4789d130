// A finding about a configuration: what `tavi check` prints and `tavi report` shows.
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
  std::string consequence;            // what the module will do because of it

  // Where it stands: in a file, or in the text that is called "configuration". Lines and columns
  // are counted from 1, columns in bytes; a column of 0 is the place as a whole.
  std::string file;
  size_t line = 0;
  size_t column = 0;
  // The bytes in question in the configuration text; none for a data file.
  std::optional<size_t> offset;
  size_t length = 0;  // also of the bytes in question in `data_line`
  // The line of the data file, without its line feed; empty for the file as a whole.
  std::string data_line;
};

// A finding without a place.
Finding MakeFinding(const std::string& name, Severity severity, std::optional<size_t> case_number,
                    const std::string& message, const std::string& consequence);

// How many of `findings` are that severe.
size_t CountOf(const std::vector<Finding>& findings, Severity severity);

}  // namespace brelmo::tavi::tools
