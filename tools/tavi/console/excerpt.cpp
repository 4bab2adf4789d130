#include "console/excerpt.h"

#include <algorithm>
#include <vector>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kEllipsis = "…";

// The longest UTF-8 character.
constexpr size_t kMaxGlyphBytes = 4;

// Where a character begins at or behind `offset`.
size_t GlyphStart(std::string_view line, size_t offset) {
  const size_t limit = std::min(line.size(), offset + kMaxGlyphBytes - 1);
  while (offset < limit && (static_cast<unsigned char>(line[offset]) & 0xc0U) == 0x80U) ++offset;
  return offset;
}

}  // namespace

Excerpt MakeExcerpt(std::string_view line, size_t offset, size_t length, size_t width) {
  // Only what can be in the window is looked at: lines may be long.
  const size_t reach = kMaxGlyphBytes * width;
  const size_t first = offset > reach ? GlyphStart(line, offset - reach) : 0;
  std::vector<Glyph> glyphs;
  size_t marked_begin = 0;  // glyphs
  size_t marked_end = 0;
  size_t at = first;
  for (; at < line.size() && at < offset + reach; at += glyphs.back().bytes) {
    glyphs.push_back(FirstGlyph(line.substr(at)));
    if (at + glyphs.back().bytes <= offset) marked_begin = glyphs.size();
    if (at < offset + length) marked_end = glyphs.size();
  }
  marked_end = std::max(marked_begin, marked_end);

  // The window grows from the place: some of what stands before it, all that fits behind it, then
  // more before it.
  size_t begin = marked_begin;
  size_t end = marked_begin;
  size_t cells = 0;
  const auto grow_back = [&](size_t limit) {
    while (begin > 0 && cells + glyphs[begin - 1].cells <= limit) cells += glyphs[--begin].cells;
  };
  grow_back(width / 3);
  while (end < glyphs.size() && cells + glyphs[end].cells <= width) cells += glyphs[end++].cells;
  grow_back(width);

  Excerpt excerpt;
  size_t marked_cells = 0;
  if (begin > 0 || first > 0) {
    excerpt.text = kEllipsis;
    excerpt.marker = " ";
  }
  for (size_t i = begin; i < end; ++i) {
    excerpt.text += glyphs[i].shown;
    if (i < marked_begin) excerpt.marker += std::string(glyphs[i].cells, ' ');
    if (i >= marked_begin && i < marked_end) marked_cells += glyphs[i].cells;
  }
  if (end < glyphs.size() || at < line.size()) excerpt.text += kEllipsis;
  excerpt.marker += "^" + std::string(std::max<size_t>(marked_cells, 1) - 1, '~');
  return excerpt;
}

}  // namespace brelmo::tavi::tools
