#include "check/config_text.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace brelmo::tavi::tools {

std::vector<Span> Pieces(std::string_view text, Span span, char delimiter) {
  std::vector<Span> pieces;
  const size_t end = span.offset + span.length;
  text = text.substr(0, end);
  for (size_t at = span.offset; at < end;) {
    const size_t piece_end = std::min(end, text.find(delimiter, at));
    if (piece_end > at) pieces.push_back({at, piece_end - at});
    at = piece_end + 1;
  }
  return pieces;
}

ConfigText::ConfigText(const std::string& text) : text_(text) {
  for (const Span case_span : Pieces(text_, {0, text_.size()}, ' ')) {
    Case located = {case_span, {}};
    std::unordered_set<std::string_view> names;
    for (const Span item_span : Pieces(text_, case_span, '|')) {
      Item item = {item_span, Pieces(text_, item_span, ':')};
      item.is_repeated = item.is_pair() && !names.insert(at(item.name())).second;
      located.items.push_back(std::move(item));
    }
    cases_.push_back(std::move(located));
  }
}

const ConfigText::Item* ConfigText::Find(const Case& in, std::string_view name) const {
  const auto found = std::find_if(in.items.begin(), in.items.end(), [&](const Item& item) {
    return item.is_pair() && at(item.name()) == name;
  });
  return found == in.items.end() ? nullptr : &*found;
}

}  // namespace brelmo::tavi::tools
