#include "console/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

Progress::Progress(std::optional<uint64_t> total, std::string what)
    : what_(std::move(what)), is_wanted_(isatty(STDERR_FILENO) == 1), total_(total) {}

Progress::~Progress() {
  if (is_shown_) std::fprintf(stderr, "\r\033[K");
}

void Progress::Advance() {
  const std::lock_guard lock(mutex_);
  ++done_;
  Show();
}

void Progress::Set(uint64_t done, std::optional<uint64_t> total) {
  const std::lock_guard lock(mutex_);
  done_ = done;
  total_ = total;
  Show();
}

void Progress::Show() {
  constexpr std::chrono::seconds kPatience(1);
  if (!is_wanted_ || std::chrono::steady_clock::now() - begin_ < kPatience) return;
  std::string line;
  if (total_) {
    constexpr uint64_t kCells = 30;
    const uint64_t cells = *total_ > 0 ? std::min(kCells, kCells * done_ / *total_) : kCells;
    line = "[" + std::string(cells, '#') + std::string(kCells - cells, '.') + "] " +
           std::to_string(done_) + " of " + Count(*total_, what_);
  } else {
    line = Count(done_, what_);
  }
  std::fprintf(stderr, "\r%s\033[K", line.c_str());
  is_shown_ = true;
}

}  // namespace brelmo::tavi::tools
