// A bar for people who wait at a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

namespace brelmo::tavi::tools {

// On standard error, when that is a terminal and the work takes longer than a second; gone with the
// object.
class Progress {
 public:
  // `total` steps of `what`: "posture".
  Progress(size_t total, std::string what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // A step is done. From any thread.
  void Advance();

 private:
  const size_t total_;
  const std::string what_;
  const bool is_wanted_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  size_t done_ = 0;
  size_t shown_ = 0;  // characters
};

}  // namespace brelmo::tavi::tools
