#include "capture/input_stream.h"

#include <cerrno>
#include <cstring>

#include <algorithm>
#include <filesystem>

#include "console/input.h"

namespace brelmo::tavi::tools {

namespace {

// Room for a payload that is read in one piece; a response of 257 bins has 2 kB.
constexpr size_t kLargestPeek = size_t{16} << 20;
constexpr size_t kUtf16Piece = size_t{64} << 10;
// A unit of UTF-16 becomes up to so many bytes.
constexpr size_t kUtf8PerUnit = 3;

// Halves of pairs stay apart: no text that matters has any.
size_t PutUtf8(unsigned unit, char* out) {
  if (unit < 0x80) {
    out[0] = static_cast<char>(unit);
    return 1;
  }
  if (unit < 0x800) {
    out[0] = static_cast<char>(0xc0 | unit >> 6);
    out[1] = static_cast<char>(0x80 | (unit & 0x3f));
    return 2;
  }
  out[0] = static_cast<char>(0xe0 | unit >> 12);
  out[1] = static_cast<char>(0x80 | (unit >> 6 & 0x3f));
  out[2] = static_cast<char>(0x80 | (unit & 0x3f));
  return 3;
}

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// Whether the beginning of a file is of UTF-16 without a mark: characters of ASCII, each in the
// byte `at` of two. No capture begins so.
bool IsWide(std::string_view head, size_t at) {
  if (head.size() < 8) return false;
  for (size_t i = 0; i < 8; i += 2) {
    const char low = head[i + at];
    const bool is_text = (low >= ' ' && low <= '~') || low == '\n' || low == '\r' || low == '\t';
    if (!is_text || head[i + 1 - at] != '\0') return false;
  }
  return true;
}

}  // namespace

InputStream::InputStream(const std::string& path) : path_(path), buffer_(kBufferSize) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw InputError(path + ": is a folder");
  RequireEnd(path);
  file_.reset(std::fopen(path.c_str(), "rb"));
  if (!file_) throw InputError(path + ": cannot be read: " + std::strerror(errno));
  if (const auto bytes = std::filesystem::file_size(path, error); !error) size_ = bytes;
  Begin();
}

InputStream::InputStream(const std::string& path, std::string_view content)
    : path_(path), buffer_(kBufferSize), size_(content.size()) {
  // It is only read.
  file_.reset(fmemopen(const_cast<char*>(content.data()), content.size(), "rb"));
  if (!file_) throw InputError(path + ": cannot be read: " + std::strerror(errno));
  Begin();
}

void InputStream::Begin() {
  std::setvbuf(file_.get(), nullptr, _IONBF, 0);
  const std::string_view head = Peek(8);
  const bool has_mark = StartsWith(head, "\xff\xfe") || StartsWith(head, "\xfe\xff");
  is_big_endian_ = StartsWith(head, "\xfe\xff") || IsWide(head, 1);
  is_utf16_ = has_mark || is_big_endian_ || IsWide(head, 0);
  if (StartsWith(head, "\xef\xbb\xbf")) Consume(3);
  if (!is_utf16_) return;
  // From the beginning, which a pipe does not have.
  if (std::fseek(file_.get(), has_mark ? 2 : 0, SEEK_SET) != 0) {
    throw InputError(path_ + ": is UTF-16, which can be read from a file only");
  }
  begin_ = end_ = 0;
  bytes_read_ = has_mark ? 2 : 0;
  is_at_end_ = false;
}

void InputStream::Fill(size_t count) {
  if (available() >= count || is_at_end_) return;
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, available());
    end_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() < count) buffer_.resize(std::min(count, kLargestPeek));
  while (available() < count && available() < buffer_.size() && !is_at_end_) {
    const size_t room = buffer_.size() - end_;
    size_t taken = 0;
    if (is_utf16_) {
      if (room < kUtf8PerUnit) break;
      unsigned char piece[kUtf16Piece];
      const size_t wanted = std::min(kUtf16Piece / 2, room / kUtf8PerUnit) * 2;
      taken = std::fread(piece, 1, wanted, file_.get());
      for (size_t i = 0; i + 1 < taken; i += 2) {
        const unsigned unit =
            is_big_endian_ ? piece[i] << 8 | piece[i + 1] : piece[i + 1] << 8 | piece[i];
        end_ += PutUtf8(unit, buffer_.data() + end_);
      }
      is_at_end_ = taken < wanted;
    } else {
      taken = std::fread(buffer_.data() + end_, 1, room, file_.get());
      end_ += taken;
      is_at_end_ = taken < room;
    }
    bytes_read_ += taken;
  }
  if (std::ferror(file_.get()) != 0) {
    throw InputError(path_ + ": cannot be read: " + std::strerror(errno));
  }
}

std::string_view InputStream::Peek(size_t count) {
  Fill(count);
  return {buffer_.data() + begin_, std::min(available(), count)};
}

void InputStream::Skip(uint64_t count) {
  while (count > 0) {
    if (available() == 0) Fill(1);
    if (available() == 0) return;
    const auto step = static_cast<size_t>(std::min<uint64_t>(count, available()));
    Consume(step);
    count -= step;
  }
}

bool InputStream::TakeLine(std::string_view& line, bool& is_cut) {
  if (available() == 0) Fill(1);
  if (available() == 0) return false;
  const char* begin = buffer_.data() + begin_;
  const auto* feed = static_cast<const char*>(std::memchr(begin, '\n', available()));
  if (feed == nullptr) {
    Fill(buffer_.size());
    begin = buffer_.data() + begin_;
    feed = static_cast<const char*>(std::memchr(begin, '\n', available()));
  }
  is_cut = feed == nullptr;
  if (feed != nullptr) {
    line = {begin, static_cast<size_t>(feed - begin)};
    Consume(line.size() + 1);
    return true;
  }
  line = {begin, available()};
  const bool has_more = !is_at_end_;
  Consume(line.size());
  if (has_more) {
    // The buffer is written anew from here on: what is given is kept aside.
    static thread_local std::string kept;
    constexpr size_t kKept = size_t{64} << 10;
    kept.assign(line.substr(0, kKept));
    line = kept;
    for (bool is_found = false; !is_found;) {
      Fill(1);
      if (available() == 0) break;
      const char* const at = buffer_.data() + begin_;
      const auto* end = static_cast<const char*>(std::memchr(at, '\n', available()));
      is_found = end != nullptr;
      Consume(is_found ? static_cast<size_t>(end - at) + 1 : available());
    }
  }
  return true;
}

}  // namespace brelmo::tavi::tools
