#include "console/wording.h"

#include <clocale>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace brelmo::tavi::tools {

namespace {

// Characters that a quotation holds at most.
constexpr size_t kQuotedGlyphs = 60;

// While one lives, the C library takes this thread's texts for UTF-8, whatever the user's locale.
class Utf8Scope {
 public:
  Utf8Scope() : outer_(uselocale(Utf8())) {}
  Utf8Scope(const Utf8Scope&) = delete;
  Utf8Scope& operator=(const Utf8Scope&) = delete;
  ~Utf8Scope() { uselocale(outer_); }

 private:
  // Null, which leaves the locale as it is, where the C library has none; what is beyond ASCII is
  // then shown as escapes.
  static locale_t Utf8() {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return utf8;
  }

  const locale_t outer_;
};

Glyph Escape(unsigned char byte) {
  switch (byte) {
    case '\t':
      return {"\\t", 1, 2};
    case '\r':
      return {"\\r", 1, 2};
    case '\n':
      return {"\\n", 1, 2};
    default:
      break;
  }
  char text[8];
  std::snprintf(text, sizeof(text), "\\x%02x", byte);
  return {text, 1, 4};
}

}  // namespace

Glyph FirstGlyph(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    const bool is_printable = first >= ' ' && first != 0x7f;
    return is_printable ? Glyph{std::string(1, text.front()), 1, 1} : Escape(first);
  }
  const Utf8Scope utf8;
  std::mbstate_t state{};
  wchar_t character = 0;
  const size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
  const bool is_valid = bytes != 0 && bytes <= text.size();
  // Without a width of its own, a character would be shown as part of its neighbour.
  const int cells = is_valid && std::iswprint(character) != 0 ? wcwidth(character) : 0;
  if (cells < 1) return Escape(first);
  return {std::string(text.substr(0, bytes)), bytes, static_cast<size_t>(cells)};
}

std::string Printable(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const Glyph glyph = FirstGlyph(bytes);
    text += glyph.shown;
    bytes.remove_prefix(glyph.bytes);
  }
  return text;
}

std::string Quote(std::string_view bytes) {
  std::string text = "\"";
  for (size_t i = 0; !bytes.empty(); ++i) {
    if (i == kQuotedGlyphs) {
      text += "…";
      break;
    }
    const Glyph glyph = FirstGlyph(bytes);
    text += glyph.shown;
    bytes.remove_prefix(glyph.bytes);
  }
  return text + "\"";
}

std::string Enumerate(const std::vector<std::string>& words) {
  std::string text;
  for (size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " and " : ", ";
    text += words[i];
  }
  return text;
}

std::string NumberRanges(const std::vector<size_t>& numbers) {
  std::vector<std::string> ranges;
  for (size_t begin = 0; begin < numbers.size();) {
    size_t end = begin + 1;
    while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) ++end;
    if (end - begin > 2) {
      ranges.push_back(std::to_string(numbers[begin]) + " to " + std::to_string(numbers[end - 1]));
    } else {
      for (size_t i = begin; i < end; ++i) ranges.push_back(std::to_string(numbers[i]));
    }
    begin = end;
  }
  return Enumerate(ranges);
}

std::string CaseNumbers(const std::vector<size_t>& numbers) {
  return (numbers.size() == 1 ? "case " : "cases ") + NumberRanges(numbers);
}

std::string Count(size_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace brelmo::tavi::tools
