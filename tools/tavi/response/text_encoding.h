// Text files of any program as lines of UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brelmo::tavi::tools {

struct DecodedText {
  // UTF-8 without byte order mark. Bytes of a file that is neither UTF-8 nor UTF-16 stand as they
  // are; what is no character in UTF-16 is U+FFFD.
  std::string text;
  std::string encoding;  // "UTF-8", "UTF-16LE", "UTF-16BE", "8-bit"
};

DecodedText DecodeText(std::string_view bytes);

// How many bytes there are before the first that belongs to no UTF-8 character.
size_t Utf8Prefix(std::string_view text);

struct TextLine {
  size_t number = 0;      // counted from 1
  std::string_view text;  // without its end
};

// The lines of a text, which must outlive it. A line ends with LF, CRLF or CR.
class LineCursor {
 public:
  explicit LineCursor(std::string_view text) : rest_(text) {}

  // False behind the last line.
  bool Next(TextLine* line);

 private:
  std::string_view rest_;
  size_t number_ = 0;
};

// Without blanks (spaces and tabs) at both ends.
std::string_view TrimBlanks(std::string_view text);
// ASCII letters in lower case.
std::string LowerCase(std::string_view text);

}  // namespace brelmo::tavi::tools
