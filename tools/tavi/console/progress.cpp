#include "console/progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

Progress::Progress(size_t total, std::string what)
    : total_(total), what_(std::move(what)), is_wanted_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown_ > 0) std::fprintf(stderr, "\r%*s\r", static_cast<int>(shown_), "");
}

void Progress::Advance() {
  const std::lock_guard lock(mutex_);
  ++done_;
  constexpr std::chrono::seconds kPatience(1);
  if (!is_wanted_ || std::chrono::steady_clock::now() - begin_ < kPatience) return;
  constexpr size_t kCells = 30;
  const size_t cells = total_ > 0 ? kCells * done_ / total_ : kCells;
  const std::string line = "[" + std::string(cells, '#') + std::string(kCells - cells, '.') + "] " +
                           std::to_string(done_) + " of " + Count(total_, what_);
  std::fprintf(stderr, "\r%s", line.c_str());
  shown_ = line.size();
}

}  // namespace brelmo::tavi::tools
