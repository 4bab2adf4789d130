// Where the pieces of a configuration text stand. Used to point at what the module judged, never to
// judge.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace brelmo::tavi::tools {

// A stretch of a text, in bytes.
struct Span {
  size_t offset = 0;
  size_t length = 0;
};

// The pieces of `span` between runs of `delimiter`.
std::vector<Span> Pieces(std::string_view text, Span span, char delimiter);

class ConfigText {
 public:
  struct Item {
    Span span;
    std::vector<Span> parts;   // a name and a value when the item is well formed
    bool is_repeated = false;  // an earlier item of the case has the same name, and counts

    bool is_pair() const { return parts.size() == 2; }
    Span name() const { return parts.at(0); }
    Span value() const { return parts.at(1); }
  };
  struct Case {
    Span span;
    std::vector<Item> items;
  };

  explicit ConfigText(const std::string& text);

  const std::string& text() const { return text_; }
  const std::vector<Case>& cases() const { return cases_; }
  std::string_view at(Span span) const {
    return std::string_view(text_).substr(span.offset, span.length);
  }
  // The item with this name that counts; null without one.
  const Item* Find(const Case& in, std::string_view name) const;

 private:
  const std::string text_;
  std::vector<Case> cases_;
};

}  // namespace brelmo::tavi::tools
