#include "response/number_text.h"

#include <cmath>

#include <charconv>
#include <string>

namespace brelmo::tavi::tools {

namespace {

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// Takes the digits at the beginning of a text.
std::string_view TakeDigits(std::string_view& text) {
  size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  const std::string_view digits = text.substr(0, count);
  text.remove_prefix(count);
  return digits;
}

bool Take(std::string_view& text, std::string_view what) {
  if (text.substr(0, what.size()) != what) return false;
  text.remove_prefix(what.size());
  return true;
}

bool TakeThousandsSign(std::string_view& text, char sign) {
  if (sign == ' ' && (Take(text, "\u00a0") || Take(text, "\u202f"))) return true;
  return sign != '\0' && Take(text, {&sign, 1});
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text, const NumberFormat& format) {
  // As from_chars takes it.
  std::string plain;
  if (Take(text, "-")) {
    plain = "-";
  } else {
    Take(text, "+");
  }
  const std::string_view first = TakeDigits(text);
  plain += first;
  const bool may_group = !first.empty() && first.size() <= 3 && first[0] != '0';
  while (may_group && TakeThousandsSign(text, format.thousands)) {
    const std::string_view group = TakeDigits(text);
    if (group.size() != 3) return std::nullopt;
    plain += group;
  }
  if (Take(text, {&format.decimal, 1})) {
    const std::string_view fraction = TakeDigits(text);
    const bool needs_both = format.decimal == ',';
    if (needs_both ? first.empty() || fraction.empty() : first.empty() && fraction.empty()) {
      return std::nullopt;
    }
    plain += '.';
    plain += fraction;
  } else if (first.empty()) {
    return std::nullopt;
  }
  if (Take(text, "e") || Take(text, "E")) {
    plain += 'e';
    if (Take(text, "-")) {
      plain += '-';
    } else {
      Take(text, "+");
    }
    const std::string_view exponent = TakeDigits(text);
    if (exponent.empty()) return std::nullopt;
    plain += exponent;
  }
  if (!text.empty()) return std::nullopt;
  double value = 0.0;
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  if (error != std::errc() || end != plain.data() + plain.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

bool IsNumber(std::string_view text) {
  for (const NumberFormat& format :
       {NumberFormat{'.', ','}, NumberFormat{',', '.'}, NumberFormat{'.', ' '},
        NumberFormat{',', ' '}, NumberFormat{'.', '\''}, NumberFormat{',', '\''}}) {
    if (ParseNumber(text, format)) return true;
  }
  return false;
}

}  // namespace brelmo::tavi::tools
