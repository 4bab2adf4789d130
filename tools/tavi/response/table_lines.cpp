#include "response/table_lines.h"

#include <algorithm>

#include "response/number_text.h"
#include "response/table_columns.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kBlanks = " \t";
constexpr size_t kMaxHeads = 64;

std::string_view Unquoted(std::string_view field) {
  field = TrimBlanks(field);
  if (field.size() < 2 || field.front() != '"' || field.back() != '"') return field;
  return TrimBlanks(field.substr(1, field.size() - 2));
}

void SplitAtSpaces(std::string_view line, std::vector<std::string_view>* fields) {
  for (size_t at = 0; at < line.size();) {
    const size_t begin = std::min(line.find_first_not_of(kBlanks, at), line.size());
    const auto tabs = std::count(line.begin() + static_cast<std::ptrdiff_t>(at),
                                 line.begin() + static_cast<std::ptrdiff_t>(begin), '\t');
    // Before the first field a tab by itself is an empty field.
    for (auto i = tabs - (at == 0 ? 0 : 1); i > 0; --i) {
      fields->push_back(line.substr(at == 0 ? 0 : at + 1, 0));
    }
    at = std::min(line.find_first_of(kBlanks, begin), line.size());
    if (at > begin) fields->push_back(Unquoted(line.substr(begin, at - begin)));
  }
}

void SplitAtSign(std::string_view line, char sign, std::vector<std::string_view>* fields) {
  for (size_t at = 0; at <= line.size();) {
    size_t end = std::min(line.find(sign, at), line.size());
    const size_t first = line.find_first_not_of(kBlanks, at);
    if (first != std::string_view::npos && first < end && line[first] == '"') {
      // A quoted field may have the sign in it.
      const size_t quote = line.find('"', first + 1);
      if (quote != std::string_view::npos) end = std::min(line.find(sign, quote), line.size());
    }
    fields->push_back(Unquoted(line.substr(at, end - at)));
    at = end + 1;
  }
}

bool IsData(std::string_view line, std::vector<std::string_view>* fields) {
  return std::any_of(std::begin(kFieldSeparators), std::end(kFieldSeparators),
                     [&](FieldSeparator separator) {
                       SplitFields(line, separator, fields);
                       return fields->size() > 1 && IsNumber(fields->front());
                     });
}

bool TellsSmoothing(std::string_view line) {
  const std::string lower = LowerCase(line);
  const size_t at = lower.find("smooth");
  if (at == std::string::npos || lower.find_first_of("123456789") == std::string::npos)
    return false;
  for (const char* no : {"none", "no smooth", "unsmooth", "not smooth", ": off", "= off"}) {
    if (lower.find(no) != std::string::npos) return false;
  }
  return true;
}

// The names in a head; a unit in brackets belongs to the name before it.
std::vector<std::string> NamesIn(std::string_view head, FieldSeparator separator) {
  if (IsComment(head) && TrimBlanks(head).front() != '"') {
    head = TrimBlanks(head);
    head.remove_prefix(std::min(head.find_first_not_of("*#;%/ \t"), head.size()));
  }
  std::vector<std::string_view> fields;
  SplitFields(head, separator, &fields);
  std::vector<std::string> names;
  for (const std::string_view field : fields) {
    const bool is_unit = !field.empty() && (field.front() == '(' || field.front() == '[');
    if (is_unit && !names.empty()) {
      names.back() += " " + std::string(field);
    } else {
      names.emplace_back(field);
    }
  }
  return names;
}

}  // namespace

const char* SeparatorName(FieldSeparator separator) {
  switch (separator) {
    case FieldSeparator::kTab:
      return "tab";
    case FieldSeparator::kSemicolon:
      return "semicolon";
    case FieldSeparator::kComma:
      return "comma";
    case FieldSeparator::kSpaces:
      break;
  }
  return "spaces";
}

void SplitFields(std::string_view line, FieldSeparator separator,
                 std::vector<std::string_view>* fields) {
  fields->clear();
  switch (separator) {
    case FieldSeparator::kTab:
      SplitAtSign(line, '\t', fields);
      break;
    case FieldSeparator::kSemicolon:
      SplitAtSign(line, ';', fields);
      break;
    case FieldSeparator::kComma:
      SplitAtSign(line, ',', fields);
      break;
    case FieldSeparator::kSpaces:
      SplitAtSpaces(line, fields);
      break;
  }
  while (!fields->empty() && fields->back().empty()) fields->pop_back();
}

bool IsBlank(std::string_view line) { return TrimBlanks(line).empty(); }

bool IsComment(std::string_view line) {
  line = TrimBlanks(line);
  if (line.empty()) return false;
  if (line.front() == '"') {
    return !IsNumber(TrimBlanks(line.substr(1, std::min(line.find('"', 1), line.size()) - 1)));
  }
  return std::string_view("*#;%").find(line.front()) != std::string_view::npos ||
         line.substr(0, 2) == "//";
}

TableLayout FindLayout(std::string_view text) {
  TableLayout layout;
  LineCursor cursor(text);
  TextLine line;
  std::vector<std::string_view> fields;
  while (cursor.Next(&line)) {
    if (IsBlank(line.text)) continue;
    if (IsComment(line.text)) {
      ++layout.comment_lines;
    } else if (layout.first_data) {
      continue;
    } else if (IsData(line.text, &fields)) {
      layout.first_data = line;
      layout.data = text.substr(static_cast<size_t>(line.text.data() - text.data()));
      continue;
    } else {
      ++layout.header_lines;
    }
    if (!layout.smoothing && TellsSmoothing(line.text)) layout.smoothing = line;
    if (layout.first_data) continue;
    if (layout.heads.size() == kMaxHeads) layout.heads.erase(layout.heads.begin());
    layout.heads.push_back(line);
  }
  return layout;
}

std::vector<std::string> FindNames(const TableLayout& layout, FieldSeparator separator,
                                   size_t count) {
  // The header of a table may have another separator than its data.
  std::vector<FieldSeparator> separators = {separator};
  separators.insert(separators.end(), std::begin(kFieldSeparators), std::end(kFieldSeparators));
  for (auto head = layout.heads.rbegin(); head != layout.heads.rend(); ++head) {
    for (const FieldSeparator candidate : separators) {
      std::vector<std::string> names = NamesIn(head->text, candidate);
      if (names.size() == count && std::any_of(names.begin(), names.end(), IsFrequencyName)) {
        return names;
      }
    }
  }
  if (layout.heads.empty() || IsComment(layout.heads.back().text)) return {};
  std::vector<std::string> names = NamesIn(layout.heads.back().text, separator);
  return names.size() == count ? names : std::vector<std::string>();
}

}  // namespace brelmo::tavi::tools
