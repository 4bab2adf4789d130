// What a text may be besides the table that it was read as, or instead of one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "console/finding.h"
#include "response/number_text.h"
#include "response/table_lines.h"

namespace brelmo::tavi::tools {

// A place in a line of the file: a part of the line, or all of it when `part` has no place in it.
Finding PlacedIn(Finding finding, const std::string& file, const TextLine& line,
                 std::string_view part);

// A line before the first data that passed for a header and may be data with a field that is no
// number, or with one that is missing. `count` is the number of columns.
std::optional<Finding> HeaderDoubt(const std::string& file, const TableLayout& layout,
                                   FieldSeparator separator, const NumberFormat& format,
                                   size_t count);

// That the text is a data file of the module: real and imaginary parts, which no table of
// frequencies looks like.
std::optional<Finding> DataFileDoubt(const std::string& file, const TableLayout& layout);

}  // namespace brelmo::tavi::tools
