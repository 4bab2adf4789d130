// How far a long work is, for people at a terminal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace brelmo::tavi::tools {

// A bar on standard error where that is a terminal; nothing elsewhere. Gone with the object.
class ProgressBar {
 public:
  explicit ProgressBar(std::string label);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  // Of `total`, where that is known.
  void Show(uint64_t done, std::optional<uint64_t> total);

 private:
  const std::string label_;
  const bool is_shown_;
  std::string last_;
};

}  // namespace brelmo::tavi::tools
