// A table of a TOML text as its reader asks for it: every key by name, type and bounds. What does
// not fit is found at its place, and so is what nobody asked for.
#pragma once

#include <cstddef>
#include <cstdint>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#define TOML_HEADER_ONLY 0
#define TOML_ENABLE_FORMATTERS 0
// The library asserts of bad texts what its code then refuses in order.
#define TOML_ASSERT(condition) static_assert(true)
#include <toml++/toml.h>

#include "console/finding.h"

namespace brelmo::tavi::tools {

// Lines and columns are counted from 1, columns in bytes; line 0 is the text as a whole.
struct SourcePlace {
  size_t line = 0;
  size_t column = 0;
  size_t length = 0;
};

// A TOML text and what was found in it.
class TomlSource {
 public:
  // `name` is what findings call the text.
  TomlSource(std::string text, std::string name);

  // None when the text is no TOML, which a finding says.
  const toml::table* root() const { return root_ ? &*root_ : nullptr; }
  SourcePlace PlaceOf(const toml::source_region& region) const;
  // A finding with its place, in nobody's list yet.
  Finding At(const SourcePlace& place, const std::string& name, Severity severity,
             const std::string& message, const std::string& consequence) const;
  void Refuse(const SourcePlace& place, const std::string& name, const std::string& message,
              const std::string& consequence);
  std::vector<Finding> Take() { return std::move(findings_); }

 private:
  std::string_view LineOf(size_t number) const;

  const std::string text_;
  const std::string name_;
  std::vector<size_t> line_starts_ = {0};
  std::optional<toml::table> root_;
  std::vector<Finding> findings_;
};

// Borrows the source. A value is empty when its key is missing, and when the value does not fit:
// then there is a finding.
class TomlTable {
 public:
  // `what`, for messages: "a posture", "a channel".
  TomlTable(TomlSource& source, const toml::table& table, std::string what)
      : source_(source), table_(table), what_(std::move(what)) {}

  bool Has(const std::string& key) { return Find(key) != nullptr; }
  SourcePlace place() const { return source_.PlaceOf(table_.source()); }
  // Of the key's value; of the table where the key is missing.
  SourcePlace PlaceOf(const std::string& key);

  std::optional<double> Number(const std::string& key, double low, double high,
                               const std::string& unit);
  std::optional<int64_t> Whole(const std::string& key, int64_t low, int64_t high);
  std::optional<std::vector<int64_t>> Wholes(const std::string& key);
  std::optional<std::vector<double>> Numbers(const std::string& key);
  std::optional<bool> Flag(const std::string& key);
  // Not empty, and without control characters.
  std::optional<std::string> Text(const std::string& key);
  std::optional<std::string> Word(const std::string& key, const std::vector<std::string>& words);
  // Words or whole numbers, as text.
  std::optional<std::vector<std::string>> Names(const std::string& key);
  std::optional<TomlTable> Table(const std::string& key, const std::string& what);
  std::vector<TomlTable> Tables(const std::string& key, const std::string& what);

  bool IsText(const std::string& key);
  void Refuse(const std::string& key, const std::string& message, const std::string& consequence);
  // Refuses the keys that were not asked for.
  void RefuseOthers();

 private:
  const toml::node* Find(const std::string& key);
  void RefuseType(const std::string& key, const std::string& wanted);

  TomlSource& source_;
  const toml::table& table_;
  std::string what_;
  std::vector<std::string> known_;
};

}  // namespace brelmo::tavi::tools
