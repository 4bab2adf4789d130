#define TOML_IMPLEMENTATION
#include "build/toml_table.h"

#include <cmath>

#include <algorithm>
#include <utility>

#include "console/wording.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

std::string ListOf(const std::vector<std::string>& words) {
  std::vector<std::string> quoted;
  quoted.reserve(words.size());
  for (const std::string& word : words) quoted.push_back(Quote(word));
  return Enumerate(quoted);
}

// The first byte that is beyond ASCII and stands neither in a string nor in a comment, where TOML
// has no place for it; the end when there is none, or when something breaks TOML's rules before it.
size_t FirstForeign(std::string_view text) {
  const auto starts = [text](size_t at, std::string_view what) {
    return text.substr(at, what.size()) == what;
  };
  std::string_view close;  // of the string or comment that is open
  for (size_t at = 0; at < text.size();) {
    if (close.empty()) {
      if ((static_cast<unsigned char>(text[at]) & 0x80U) != 0) return at;
      for (const auto& [open, end] :
           {std::pair<std::string_view, std::string_view>{"\"\"\"", "\"\"\""},
            {"\'\'\'", "\'\'\'"},
            {"\"", "\""},
            {"\'", "\'"},
            {"#", "\n"}}) {
        if (!starts(at, open)) continue;
        close = end;
        at += open.size() - 1;
        break;
      }
      ++at;
    } else if (starts(at, close)) {
      at += close.size();
      // Quotation marks right before those that close belong to the string.
      while (close.size() == 3 && at < text.size() && text[at] == close[0]) ++at;
      close = {};
    } else if (text[at] == '\n' && close.size() == 1) {
      return text.size();
    } else {
      at += text[at] == '\\' && close[0] == '"' ? 2 : 1;
    }
  }
  return text.size();
}

}  // namespace

TomlSource::TomlSource(std::string text, std::string name)
    : text_(std::move(text)), name_(std::move(name)) {
  for (size_t at = 0; (at = text_.find('\n', at)) != std::string::npos;) {
    line_starts_.push_back(++at);
  }
  // Where the library is not exact (it names a block of bytes), and where it must not come (it
  // takes foreign letters among keys for what cannot be).
  const auto refuse_at = [this](size_t at, size_t length, const std::string& why,
                                const std::string& cure) {
    const auto behind = std::upper_bound(line_starts_.begin(), line_starts_.end(), at);
    Refuse({static_cast<size_t>(behind - line_starts_.begin()), at - *(behind - 1) + 1, length},
           "no-toml", Quote(std::string_view(text_).substr(at, length)) + why,
           "nothing of the source is read; " + cure);
  };
  const size_t good = Utf8Prefix(text_);
  if (good < text_.size()) {
    refuse_at(good, 1, " is no UTF-8", "save it as UTF-8, comments too");
    return;
  }
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  const size_t start = text_.compare(0, kMark.size(), kMark) == 0 ? kMark.size() : 0;
  const size_t foreign = start + FirstForeign(std::string_view(text_).substr(start));
  if (foreign < text_.size()) {
    const size_t length = FirstGlyph(std::string_view(text_).substr(foreign)).bytes;
    refuse_at(foreign, length, " stands outside of quotation marks",
              "write names and numbers in ASCII, or a key in quotation marks");
    return;
  }
  try {
    root_ = toml::parse(std::string_view(text_));
  } catch (const toml::parse_error& error) {
    Refuse(
        PlaceOf(error.source()), "no-toml", std::string(error.description()),
        "nothing of the source is read; the line, or the one before it, breaks the rules of TOML");
  }
}

std::string_view TomlSource::LineOf(size_t number) const {
  if (number == 0 || number > line_starts_.size()) return "";
  const size_t start = line_starts_[number - 1];
  std::string_view line = std::string_view(text_).substr(start);
  line = line.substr(0, line.find('\n'));
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

// The library counts a line's characters.
SourcePlace TomlSource::PlaceOf(const toml::source_region& region) const {
  SourcePlace place;
  place.line = region.begin.line;
  const std::string_view line = LineOf(place.line);
  const auto byte_of = [line](size_t column) {
    size_t byte = 0;
    for (size_t i = 1; i < column && byte < line.size(); ++i) {
      ++byte;
      while (byte < line.size() && (static_cast<unsigned char>(line[byte]) & 0xC0U) == 0x80U) {
        ++byte;
      }
    }
    return byte;
  };
  const size_t begin = byte_of(region.begin.column);
  place.column = begin + 1;
  const size_t end =
      region.end.line == region.begin.line ? byte_of(region.end.column) : line.size();
  place.length = end > begin ? end - begin : 0;
  return place;
}

Finding TomlSource::At(const SourcePlace& place, const std::string& name, Severity severity,
                       const std::string& message, const std::string& consequence) const {
  Finding finding = MakeFinding(name, severity, std::nullopt, message, consequence);
  finding.file = name_;
  finding.line = place.line;
  finding.column = place.line > 0 ? place.column : 0;
  finding.length = place.length;
  finding.line_text = LineOf(place.line);
  return finding;
}

void TomlSource::Refuse(const SourcePlace& place, const std::string& name,
                        const std::string& message, const std::string& consequence) {
  findings_.push_back(At(place, name, Severity::kError, message, consequence));
}

const toml::node* TomlTable::Find(const std::string& key) {
  if (std::find(known_.begin(), known_.end(), key) == known_.end()) known_.push_back(key);
  return table_.get(key);
}

SourcePlace TomlTable::PlaceOf(const std::string& key) {
  const toml::node* const node = Find(key);
  return source_.PlaceOf(node != nullptr ? node->source() : table_.source());
}

void TomlTable::Refuse(const std::string& key, const std::string& message,
                       const std::string& consequence) {
  source_.Refuse(PlaceOf(key), "source-value", message, consequence);
}

void TomlTable::RefuseType(const std::string& key, const std::string& wanted) {
  Refuse(key, key + " is to be " + wanted, "nothing is built; docs/project.md lists the keys");
}

std::optional<double> TomlTable::Number(const std::string& key, double low, double high,
                                        const std::string& unit) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = node->is_number() ? node->value<double>() : std::nullopt;
  // False for a NaN.
  if (value && *value >= low && *value <= high) return value;
  RefuseType(
      key, "a number" + (unit.empty() ? "" : " of " + unit) + Format(" from %g to %g", low, high));
  return std::nullopt;
}

std::optional<int64_t> TomlTable::Whole(const std::string& key, int64_t low, int64_t high) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = node->is_integer() ? node->value<int64_t>() : std::nullopt;
  if (value && *value >= low && *value <= high) return value;
  RefuseType(key, "a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  return std::nullopt;
}

std::optional<std::vector<int64_t>> TomlTable::Wholes(const std::string& key) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  std::vector<int64_t> values;
  const toml::array* const array = node->as_array();
  for (size_t i = 0; array != nullptr && i < array->size(); ++i) {
    const toml::node& element = *array->get(i);
    if (element.is_integer()) values.push_back(*element.value<int64_t>());
  }
  if (array != nullptr && !values.empty() && values.size() == array->size()) return values;
  RefuseType(key, "a list of whole numbers, [0, 90]");
  return std::nullopt;
}

std::optional<std::vector<double>> TomlTable::Numbers(const std::string& key) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  std::vector<double> values;
  const toml::array* const array = node->as_array();
  for (size_t i = 0; array != nullptr && i < array->size(); ++i) {
    const toml::node& element = *array->get(i);
    const auto value = element.is_number() ? element.value<double>() : std::nullopt;
    if (value && std::isfinite(*value)) values.push_back(*value);
  }
  if (array != nullptr && !values.empty() && values.size() == array->size()) return values;
  RefuseType(key, "a list of numbers, [300, 8000]");
  return std::nullopt;
}

std::optional<bool> TomlTable::Flag(const std::string& key) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  if (node->is_boolean()) return node->value<bool>();
  RefuseType(key, "true or false");
  return std::nullopt;
}

std::optional<std::string> TomlTable::Text(const std::string& key) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  auto value = node->is_string() ? node->value<std::string>() : std::nullopt;
  const auto is_control = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
  if (value && !value->empty() && std::none_of(value->begin(), value->end(), is_control)) {
    return value;
  }
  RefuseType(key, "a text in quotation marks, on one line and not empty");
  return std::nullopt;
}

bool TomlTable::IsText(const std::string& key) {
  const toml::node* const node = Find(key);
  return node != nullptr && node->is_string();
}

std::optional<std::string> TomlTable::Word(const std::string& key,
                                           const std::vector<std::string>& words) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  auto value = node->is_string() ? node->value<std::string>() : std::nullopt;
  if (value && std::find(words.begin(), words.end(), *value) != words.end()) return value;
  RefuseType(key, "one of " + ListOf(words));
  return std::nullopt;
}

std::optional<std::vector<std::string>> TomlTable::Names(const std::string& key) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  std::vector<std::string> names;
  const toml::array* const array = node->as_array();
  for (size_t i = 0; array != nullptr && i < array->size(); ++i) {
    const toml::node& element = *array->get(i);
    if (element.is_integer()) names.push_back(std::to_string(*element.value<int64_t>()));
    if (element.is_string()) names.push_back(*element.value<std::string>());
  }
  if (array != nullptr && !names.empty() && names.size() == array->size()) return names;
  RefuseType(key, "a list of names or of numbers counted from 1");
  return std::nullopt;
}

std::optional<TomlTable> TomlTable::Table(const std::string& key, const std::string& what) {
  const toml::node* const node = Find(key);
  if (node == nullptr) return std::nullopt;
  if (const toml::table* const table = node->as_table()) return TomlTable(source_, *table, what);
  RefuseType(key, "a table, {key = value, ...}");
  return std::nullopt;
}

std::vector<TomlTable> TomlTable::Tables(const std::string& key, const std::string& what) {
  const toml::node* const node = Find(key);
  std::vector<TomlTable> tables;
  if (node == nullptr) return tables;
  const toml::array* const array = node->as_array();
  for (size_t i = 0; array != nullptr && i < array->size(); ++i) {
    if (const toml::table* const table = array->get(i)->as_table()) {
      tables.emplace_back(source_, *table, what);
    }
  }
  if (array != nullptr && tables.size() == array->size()) return tables;
  RefuseType(key, "a list of tables");
  return {};
}

void TomlTable::RefuseOthers() {
  for (auto&& [key, value] : table_) {
    const std::string name(key.str());
    if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
    const std::string nearest = NearestName(name, known_);
    const std::string known = IsMisspelt(name, nearest) ? "the nearest that there is is " + nearest
                                                        : "there are " + Enumerate(known_);
    source_.Refuse(source_.PlaceOf(key.source()), "unknown-key",
                   what_ + " has no key " + Quote(name), "nothing is built; " + known);
  }
}

}  // namespace brelmo::tavi::tools
