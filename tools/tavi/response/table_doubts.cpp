#include "response/table_doubts.h"

#include <algorithm>
#include <vector>

#include "console/wording.h"
#include "response/spectrum.h"
#include "response/table_columns.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

bool HasDigit(std::string_view field) {
  return field.find_first_of("0123456789") != std::string_view::npos;
}

bool NamesFrequency(const std::vector<std::string_view>& fields) {
  return std::any_of(fields.begin(), fields.end(),
                     [](std::string_view field) { return IsFrequencyName(std::string(field)); });
}

// The line right before the data, comments aside, unless it names columns or a comment behind it
// does.
const TextLine* LastHeader(const TableLayout& layout, FieldSeparator separator) {
  std::vector<std::string_view> fields;
  for (auto head = layout.heads.rbegin(); head != layout.heads.rend(); ++head) {
    SplitFields(head->text, separator, &fields);
    if (NamesFrequency(fields)) return nullptr;
    if (!IsComment(head->text)) return &*head;
  }
  return nullptr;
}

}  // namespace

Finding PlacedIn(Finding finding, const std::string& file, const TextLine& line,
                 std::string_view part) {
  finding.file = file;
  finding.line = line.number;
  finding.line_text = std::string(line.text);
  finding.column = 1;
  finding.length = line.text.size();
  if (part.data() != nullptr) {
    finding.column = static_cast<size_t>(part.data() - line.text.data()) + 1;
    finding.length = part.size();
  }
  return finding;
}

std::optional<Finding> HeaderDoubt(const std::string& file, const TableLayout& layout,
                                   FieldSeparator separator, const NumberFormat& format,
                                   size_t count) {
  const TextLine* const header = LastHeader(layout, separator);
  if (header == nullptr) return std::nullopt;
  std::vector<std::string_view> fields;
  SplitFields(header->text, separator, &fields);
  const auto is_number = [&format](std::string_view field) {
    return ParseNumber(field, format).has_value();
  };
  const auto bad = std::find_if_not(fields.begin(), fields.end(), is_number);
  const auto numbers = static_cast<size_t>(std::count_if(fields.begin(), fields.end(), is_number));
  const bool is_mostly_numbers = fields.size() == count && 2 * numbers >= count;
  const bool are_all_nearly = std::all_of(fields.begin(), fields.end(), HasDigit);
  if (numbers == 0 || !(is_mostly_numbers || are_all_nearly)) return std::nullopt;
  const bool is_short = bad == fields.end();
  return PlacedIn(
      MakeFinding(is_short ? "column-count" : "not-a-number", Severity::kError, std::nullopt,
                  is_short
                      ? "the line has " + Count(fields.size(), "field") +
                            " while the first data line has " + std::to_string(count)
                      : (bad->empty() ? "an empty field" : Quote(*bad)) +
                            " is no number, in a line that is otherwise like the data behind it",
                  "the file is refused; mend the line, or begin it with * when it is a comment"),
      file, *header, is_short ? std::string_view() : *bad);
}

std::optional<Finding> DataFileDoubt(const std::string& file, const TableLayout& layout) {
  if (layout.header_lines > 0) return std::nullopt;
  LineCursor cursor(layout.data);
  TextLine line;
  std::vector<std::string_view> fields;
  size_t count = 0;
  double lowest = 0.0;
  double highest = 0.0;
  while (cursor.Next(&line)) {
    if (IsBlank(line.text)) continue;
    SplitFields(line.text, FieldSeparator::kComma, &fields);
    if (fields.size() != 2) return std::nullopt;
    const auto real = ParseNumber(fields[0], {});
    if (!real || !ParseNumber(fields[1], {})) return std::nullopt;
    lowest = std::min(lowest, *real);
    highest = std::max(highest, *real);
    ++count;
  }
  // A list of frequencies out of order is as long by chance only. Of any length it goes higher than
  // a gain, and no frequency is negative.
  constexpr double kNoGain = 20.0;
  if (count != kBinCount && (lowest >= 0.0 || highest > kNoGain)) return std::nullopt;
  Finding finding = MakeFinding(
      "data-file", Severity::kError, std::nullopt,
      "the file is no response over frequency but a data file as the DSP gets it: " +
          Count(count, "bin") + " of real and imaginary part",
      "the file is refused; a data file needs neither design nor import: a configuration names it, "
      "and in a source of tavi build file = \"...\" does. tavi report and tavi diff show its "
      "response");
  return PlacedIn(finding, file, *layout.first_data, {});
}

}  // namespace brelmo::tavi::tools
