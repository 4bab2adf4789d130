// How findings put bytes, numbers and lists into words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace brelmo::tavi::tools {

// The first character of a text as it is shown to people.
struct Glyph {
  std::string shown;  // an escape for what is no printable UTF-8 character
  size_t bytes = 0;   // that it stands for in the text
  size_t cells = 0;   // that it takes on a terminal
};

// `text` must not be empty.
Glyph FirstGlyph(std::string_view text);

// Any bytes as printable UTF-8: nothing in them reaches a terminal as an instruction.
std::string Printable(std::string_view bytes);
// The same, but line feeds stay.
std::string PrintableLines(std::string_view bytes);
// The same in quotation marks; a long text is cut.
std::string Quote(std::string_view bytes);

// Wherever `what`, which must not be empty, stands in it.
void ReplaceAll(std::string& text, std::string_view what, std::string_view by);

// As printf, into a text.
__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...);

// "a, b and c".
std::string Enumerate(const std::vector<std::string>& words);
// "0, 2 to 4 and 7" for ascending numbers.
std::string NumberRanges(const std::vector<size_t>& numbers);
// "case 3", "cases 0 and 2 to 4" for ascending numbers.
std::string CaseNumbers(const std::vector<size_t>& numbers);
// "1 case", "2 cases"; of a `noun` that takes more than an s its `plural` as well.
std::string Count(size_t number, const std::string& noun, const std::string& plural = "");

// Of `names`, which must not be empty, the one that takes the fewest edits of a character to come
// from `word`, letter case aside; the first of several.
std::string NearestName(std::string_view word, const std::vector<std::string>& names);
// Whether `word` is most likely meant to be `name`: close to it, and not the same.
bool IsMisspelt(std::string_view word, std::string_view name);

}  // namespace brelmo::tavi::tools
