// A file of any size, read through a buffer that does not grow with it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brelmo::tavi::tools {

// Text in UTF-16, which some terminals store a log in, is read as UTF-8; offsets are then those in
// the UTF-8.
class InputStream {
 public:
  static constexpr size_t kBufferSize = size_t{1} << 20;

  // Throws InputError, here and where it reads.
  explicit InputStream(const std::string& path);
  // What was read already, and outlives the stream. `path` is for messages.
  InputStream(const std::string& path, std::string_view content);
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;
  ~InputStream() = default;

  // What comes next, `count` bytes of it where the file has so many and the buffer can hold them.
  // Valid until the next call.
  std::string_view Peek(size_t count);
  void Skip(uint64_t count);
  // Takes a line without its line feed; false at the end. Of a line longer than the buffer only the
  // beginning is given, and `is_cut` set; it is set for a last line without a line feed, too.
  bool TakeLine(std::string_view& line, bool& is_cut);

  uint64_t offset() const { return offset_; }
  // Bytes of the file that were read.
  uint64_t bytes_read() const { return bytes_read_; }
  // All bytes of a regular file; empty for a pipe or a device.
  std::optional<uint64_t> size() const { return size_; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  // Begins to read the file.
  void Begin();
  // Reads until `count` bytes stand in the buffer or the file ends.
  void Fill(size_t count);
  size_t available() const { return end_ - begin_; }
  void Consume(size_t count) {
    begin_ += count;
    offset_ += count;
  }

  const std::string path_;
  std::unique_ptr<std::FILE, CloseFile> file_;
  std::vector<char> buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t offset_ = 0;
  uint64_t bytes_read_ = 0;
  std::optional<uint64_t> size_;
  bool is_at_end_ = false;
  bool is_utf16_ = false;
  bool is_big_endian_ = false;
};

}  // namespace brelmo::tavi::tools
