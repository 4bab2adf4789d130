// Lines as they come.
#pragma once

#include <cstddef>
#include <string>

namespace brelmo::tavi::tools {

// Reads a descriptor, which it keeps to itself: another user of the number does no harm.
class LineReader {
 public:
  static constexpr size_t kMostLine = size_t{64} << 10;

  explicit LineReader(int fd);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // The next line, without its line feed; false at the end. Throws ScenarioError at a line of more
  // than kMostLine bytes, or when nothing can be read.
  bool Next(std::string& line);
  // Of the line that was read last, counted from 1.
  int number() const { return number_; }

 private:
  const int fd_;
  std::string bytes_;
  bool is_at_end_ = false;
  int number_ = 0;
};

}  // namespace brelmo::tavi::tools
