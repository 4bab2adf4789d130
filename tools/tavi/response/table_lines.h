// What the lines of a table are, whatever separates their fields.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

enum class FieldSeparator { kTab, kSemicolon, kComma, kSpaces };
constexpr FieldSeparator kFieldSeparators[] = {FieldSeparator::kTab, FieldSeparator::kSemicolon,
                                               FieldSeparator::kComma, FieldSeparator::kSpaces};

// "tab", "semicolon", "comma", "spaces".
const char* SeparatorName(FieldSeparator separator);

// The fields of a line, without blanks and quotation marks around them. Spaces may have one tab
// among them: a second one is an empty field, as between two tabs. Empty fields at the end are left
// out. Views into `line`.
void SplitFields(std::string_view line, FieldSeparator separator,
                 std::vector<std::string_view>* fields);

// A line without data: blank, or a comment, which begins with * # ; % // or a quoted text.
bool IsBlank(std::string_view line);
bool IsComment(std::string_view line);

struct TableLayout {
  // From the first data line on; empty without one.
  std::optional<TextLine> first_data;
  std::string_view data;
  // The last comments and headers before the data, in their order.
  std::vector<TextLine> heads;
  size_t comment_lines = 0;  // in the whole text
  size_t header_lines = 0;
  std::optional<TextLine> smoothing;  // the comment that tells that the response was smoothed
};

// The first data line is the first that is no comment and begins with a number and one more field.
TableLayout FindLayout(std::string_view text);

// The names of `count` columns. Empty when the heads have none.
std::vector<std::string> FindNames(const TableLayout& layout, FieldSeparator separator,
                                   size_t count);

}  // namespace brelmo::tavi::tools
