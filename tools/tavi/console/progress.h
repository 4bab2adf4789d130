// A bar for people who wait at a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace brelmo::tavi::tools {

// On standard error, when that is a terminal and the work takes longer than a second; gone with the
// object.
class Progress {
 public:
  // Of `total` steps, where that is known; `what` is one of them: "posture".
  Progress(std::optional<uint64_t> total, std::string what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // From any thread: a step is done, or so many of so many are.
  void Advance();
  void Set(uint64_t done, std::optional<uint64_t> total);

 private:
  void Show();

  const std::string what_;
  const bool is_wanted_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::optional<uint64_t> total_;
  uint64_t done_ = 0;
  bool is_shown_ = false;
};

}  // namespace brelmo::tavi::tools
