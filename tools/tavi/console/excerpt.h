// The part of a line that a message is about, for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brelmo::tavi::tools {

struct Excerpt {
  std::string
      text;  // of the line, or of a window of it; characters that cannot be shown as escapes
  std::string marker;  // a caret and tildes for a line under it
};

// `place` bytes from `offset` on are marked, at least one column. `width` is the columns of the
// window; an ellipsis stands at each end where the line goes on.
Excerpt MakeExcerpt(std::string_view line, size_t offset, size_t length, size_t width);

}  // namespace brelmo::tavi::tools
