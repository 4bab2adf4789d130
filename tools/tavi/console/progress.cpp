#include "console/progress.h"

#include <unistd.h>

#include <cstdio>

#include <algorithm>
#include <utility>

namespace brelmo::tavi::tools {

ProgressBar::ProgressBar(std::string label)
    : label_(std::move(label)), is_shown_(isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
  if (!last_.empty()) std::fprintf(stderr, "\r\033[K");
}

void ProgressBar::Show(uint64_t done, std::optional<uint64_t> total) {
  if (!is_shown_) return;
  constexpr uint64_t kCells = 30;
  std::string text = label_ + " ";
  // What is done at once needs no bar.
  constexpr uint64_t kWorthShowing = uint64_t{16} << 20;
  if (!total || *total < kWorthShowing) {
    if (done < kWorthShowing) return;
    text += std::to_string(done >> 20) + " MB";
  } else {
    const uint64_t cells = std::min(done * kCells / *total, kCells);
    text += "[" + std::string(cells, '=') + std::string(kCells - cells, ' ') + "] " +
            std::to_string(std::min<uint64_t>(100, done * 100 / *total)) + " %";
  }
  if (text == last_) return;
  std::fprintf(stderr, "\r%s\033[K", text.c_str());
  std::fflush(stderr);
  last_ = text;
}

}  // namespace brelmo::tavi::tools
