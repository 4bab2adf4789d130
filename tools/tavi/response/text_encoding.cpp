#include "response/text_encoding.h"

#include <cstdint>

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

constexpr uint32_t kReplacement = 0xfffd;

void AppendUtf8(std::string& text, uint32_t code) {
  const auto append = [&text](uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) return append(code);
  if (code < 0x800) {
    append(0xc0U | code >> 6U);
  } else {
    if (code < 0x10000) {
      append(0xe0U | code >> 12U);
    } else {
      append(0xf0U | code >> 18U);
      append(0x80U | (code >> 12U & 0x3fU));
    }
    append(0x80U | (code >> 6U & 0x3fU));
  }
  append(0x80U | (code & 0x3fU));
}

std::string DecodeUtf16(std::string_view bytes, bool is_big_endian) {
  const auto unit = [&](size_t at) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    return is_big_endian ? first * 256U + second : second * 256U + first;
  };
  std::string text;
  text.reserve(bytes.size() / 2);
  size_t at = 0;
  for (; at + 1 < bytes.size(); at += 2) {
    uint32_t code = unit(at);
    const bool is_surrogate = code >= 0xd800 && code < 0xe000;
    if (is_surrogate) {
      const uint32_t low = code < 0xdc00 && at + 3 < bytes.size() ? unit(at + 2) : 0;
      if (low >= 0xdc00 && low < 0xe000) {
        code = 0x10000 + ((code - 0xd800) << 10U) + (low - 0xdc00);
        at += 2;
      } else {
        code = kReplacement;
      }
    }
    AppendUtf8(text, code);
  }
  if (at < bytes.size()) AppendUtf8(text, kReplacement);
  return text;
}

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

}  // namespace

size_t Utf8Prefix(std::string_view text) {
  size_t at = 0;
  while (at < text.size()) {
    const auto byte_at = [text](size_t i) {
      return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned first = byte_at(at);
    const size_t more = first < 0x80 ? 0 : first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : 1;
    if (more > 0 && (first < 0xc2 || first > 0xf4)) return at;
    for (size_t i = 1; i <= more; ++i) {
      if ((byte_at(at + i) & 0xc0U) != 0x80U) return at;
    }
    // A character in more bytes than it takes, half of a pair, or beyond the last.
    const unsigned second = byte_at(at + 1);
    if ((first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ||
        (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90)) {
      return at;
    }
    at += 1 + more;
  }
  return at;
}

DecodedText DecodeText(std::string_view bytes) {
  using std::string_view_literals::operator""sv;
  if (StartsWith(bytes, "\xef\xbb\xbf"sv)) bytes.remove_prefix(3);
  const bool is_little = StartsWith(bytes, "\xff\xfe"sv);
  const bool is_big = StartsWith(bytes, "\xfe\xff"sv);
  if (is_little || is_big) {
    return {DecodeUtf16(bytes.substr(2), is_big), is_big ? "UTF-16BE" : "UTF-16LE"};
  }
  // Without a byte order mark the first character of such a file, which is ASCII, tells.
  if (bytes.size() >= 2 && (bytes[0] == '\0') != (bytes[1] == '\0')) {
    const bool has_high_first = bytes[0] == '\0';
    return {DecodeUtf16(bytes, has_high_first), has_high_first ? "UTF-16BE" : "UTF-16LE"};
  }
  return {std::string(bytes), Utf8Prefix(bytes) == bytes.size() ? "UTF-8" : "8-bit"};
}

bool LineCursor::Next(TextLine* line) {
  if (rest_.empty()) return false;
  const size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
  const bool is_crlf = rest_.substr(end, 2) == "\r\n";
  *line = {++number_, rest_.substr(0, end)};
  rest_.remove_prefix(std::min(end + (is_crlf ? 2 : 1), rest_.size()));
  return true;
}

std::string_view TrimBlanks(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return text.substr(0, 0);
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

}  // namespace brelmo::tavi::tools
