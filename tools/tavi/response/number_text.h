// Numbers as programs of any locale write them. Nothing here depends on the locale in force.
#pragma once

#include <optional>
#include <string_view>

namespace brelmo::tavi::tools {

struct NumberFormat {
  char decimal = '.';  // or ','
  char thousands =
      '\0';  // '.', ',', '\'', or ' ' which no-break spaces stand for as well; '\0' for none
};

// Empty unless the text is a finite number in this format. Digits stand on both sides of a decimal
// comma, on one side of a decimal point; thousands are grouped throughout a number, or not at all.
std::optional<double> ParseNumber(std::string_view text, const NumberFormat& format);

// A number in some format.
bool IsNumber(std::string_view text);

}  // namespace brelmo::tavi::tools
