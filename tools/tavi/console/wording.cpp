#include "console/wording.h"

#include <cctype>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <cwctype>

#include <algorithm>
#include <numeric>
#include <utility>

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

// The number of single-character edits from one name to another, letter case aside.
size_t EditDistance(std::string_view from, std::string_view to) {
  const auto is_same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t replaced = diagonal + (is_same(from[i], to[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
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

std::string PrintableLines(std::string_view bytes) {
  std::string text;
  for (;;) {
    const size_t end = bytes.find('\n');
    text += Printable(bytes.substr(0, end));
    if (end == std::string_view::npos) return text;
    text += '\n';
    bytes.remove_prefix(end + 1);
  }
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

void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
}

std::string Format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  // The terminating null goes where the string has its own.
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);
  return text;
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

std::string Count(size_t number, const std::string& noun, const std::string& plural) {
  const std::string many = plural.empty() ? noun + "s" : plural;
  return std::to_string(number) + " " + (number == 1 ? noun : many);
}

std::string NearestName(std::string_view word, const std::vector<std::string>& names) {
  // A word that is far longer than any name is near to no name, and comparing it takes long.
  constexpr size_t kLongest = 100;
  word = word.substr(0, kLongest);
  std::vector<size_t> distances;
  distances.reserve(names.size());
  for (const std::string& name : names) distances.push_back(EditDistance(word, name));
  return names[static_cast<size_t>(std::min_element(distances.begin(), distances.end()) -
                                   distances.begin())];
}

bool IsMisspelt(std::string_view word, std::string_view name) {
  return word != name && word.size() <= 2 * name.size() &&
         EditDistance(word, name) <= std::max<size_t>(1, (name.size() + 1) / 3);
}

}  // namespace brelmo::tavi::tools
