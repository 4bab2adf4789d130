#define TOML_IMPLEMENTATION
#include "build/toml_table.h"

#include <cmath>
#include <cstdio>

#include <algorithm>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

std::string NumberText(double number) {
  char text[40];
  std::snprintf(text, sizeof(text), "%g", number);
  return text;
}

std::string ListOf(const std::vector<std::string>& words) {
  std::vector<std::string> quoted;
  quoted.reserve(words.size());
  for (const std::string& word : words) quoted.push_back(Quote(word));
  return Enumerate(quoted);
}

}  // namespace

TomlSource::TomlSource(std::string text, std::string name)
    : text_(std::move(text)), name_(std::move(name)) {
  for (size_t at = 0; (at = text_.find('\n', at)) != std::string::npos;) {
    line_starts_.push_back(++at);
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
  RefuseType(key, "a number" + (unit.empty() ? "" : " of " + unit) + " from " + NumberText(low) +
                      " to " + NumberText(high));
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
  const auto value = node->is_string() ? node->value<std::string>() : std::nullopt;
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
  const auto value = node->is_string() ? node->value<std::string>() : std::nullopt;
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
