#include "scenario/line_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <array>

#include "scenario/scenario.h"

namespace brelmo::tavi::tools {

LineReader::LineReader(int fd) : fd_(fcntl(fd, F_DUPFD_CLOEXEC, 3)) {}

LineReader::~LineReader() { close(fd_); }

bool LineReader::Next(std::string& line) {
  ++number_;
  size_t end = bytes_.find('\n');
  while (end == std::string::npos && !is_at_end_) {
    if (bytes_.size() > kMostLine) {
      throw ScenarioError(number_, "has more than 65536 bytes, and no end yet: it is no step");
    }
    std::array<char, 4096> buffer{};
    const ssize_t size = read(fd_, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0)
      throw ScenarioError(number_, std::string("cannot be read: ") + std::strerror(errno));
    is_at_end_ = size == 0;
    const size_t begin = bytes_.size();
    bytes_.append(buffer.data(), static_cast<size_t>(size));
    end = bytes_.find('\n', begin);
  }
  if (end == std::string::npos && bytes_.empty()) return false;
  line = bytes_.substr(0, end);
  bytes_.erase(0, end == std::string::npos ? end : end + 1);
  return true;
}

}  // namespace brelmo::tavi::tools
