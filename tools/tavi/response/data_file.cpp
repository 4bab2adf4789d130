#include "response/data_file.h"

#include <cfloat>
#include <cmath>
#include <cstdio>

#include <charconv>

namespace brelmo::tavi::tools {

namespace {

// The module's reader refuses what strtof has to round to a subnormal; and there is no negative 0.
float AsFloat(double value) {
  const auto rounded = static_cast<float>(value);
  return std::abs(rounded) < FLT_MIN ? 0.0F : rounded;
}

void Append(double value, Digits digits, std::string& text) {
  char buffer[64];
  if (digits == Digits::kFloat) {
    const auto end = std::to_chars(buffer, buffer + sizeof(buffer), AsFloat(value)).ptr;
    text.append(buffer, end);
    return;
  }
  std::snprintf(buffer, sizeof(buffer), "%.8f", value);
  std::string number = buffer;
  number.erase(number.find_last_not_of('0') + 1);
  if (number.back() == '.') number.pop_back();
  text += number == "-0" ? "0" : number;
}

}  // namespace

std::string DataFileText(const std::vector<Complex>& bins, Digits digits) {
  std::string text;
  for (const Complex& bin : bins) {
    Append(bin.real(), digits, text);
    text += ',';
    Append(bin.imag(), digits, text);
    text += '\n';
  }
  return text;
}

std::vector<Complex> AsFloats(const std::vector<Complex>& bins) {
  std::vector<Complex> rounded;
  rounded.reserve(bins.size());
  for (const Complex& bin : bins) rounded.emplace_back(AsFloat(bin.real()), AsFloat(bin.imag()));
  return rounded;
}

}  // namespace brelmo::tavi::tools
