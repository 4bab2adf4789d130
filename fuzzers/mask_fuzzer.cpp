// Any bytes as mask: what is promised of one that was read and of one that is refused, and that it
// is read again from another dress.
#include <cmath>
#include <cstdint>
#include <cstdio>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "console/input.h"
#include "fuzz_check.h"
#include "response/mask.h"

namespace brelmo::tavi::fuzz {

namespace {

using tools::Curve;
using tools::Mask;
using tools::ParseMask;

void CheckRefusal(const std::string& text, const std::string& message) {
  unsigned line = 0;
  FUZZ_CHECK(std::sscanf(message.c_str(), "m:%u: ", &line) == 1);
  const auto is_end = [](char c) { return c == '\n' || c == '\r'; };
  FUZZ_CHECK(line <= 1 + std::count_if(text.begin(), text.end(), is_end));
  FUZZ_CHECK(message.find("frequency,upper,lower") != std::string::npos);
  const auto is_control = [](unsigned char c) { return c < 0x20; };
  FUZZ_CHECK(std::none_of(message.begin(), message.end(), is_control));
}

void CheckLimit(const Curve& limit) {
  FUZZ_CHECK(!limit.hz.empty() && limit.hz.front() > 0.0 && limit.db.size() == limit.hz.size());
  FUZZ_CHECK(std::is_sorted(limit.hz.begin(), limit.hz.end(), std::less_equal<>()));
  for (const auto* values : {&limit.hz, &limit.db}) {
    FUZZ_CHECK(
        std::all_of(values->begin(), values->end(), [](double v) { return std::isfinite(v); }));
  }
}

// A response's level is free: where it stands moves the best shift and nothing else.
void CheckMargins(const Mask& mask) {
  const auto slope = [](double hz) { return 3.0 * std::log2(hz / 1000.0); };
  for (const int bands : {1, 3, 12}) {
    const auto margin = MarginOf(mask, slope, {20.0, 20000.0}, bands);
    const auto louder = MarginOf(
        mask, [&slope](double hz) { return slope(hz) + 40.0; }, {20.0, 20000.0}, bands);
    FUZZ_CHECK(margin.has_value() == louder.has_value());
    if (!margin) continue;
    FUZZ_CHECK(std::abs(margin->margin_db - louder->margin_db) < 1e-6);
    FUZZ_CHECK(std::abs(margin->shift_db - 40.0 - louder->shift_db) < 1e-6);
    FUZZ_CHECK(margin->lower_hz >= 20.0 && margin->lower_hz <= 20000.0);
    FUZZ_CHECK(margin->upper_hz >= 20.0 && margin->upper_hz <= 20000.0);
  }
}

// The same limits among blanks and blank lines, with other line ends.
void CheckInOtherDress(const Mask& mask) {
  std::map<double, std::pair<std::string, std::string>> lines;
  const auto add = [&lines](const Curve& limit, auto member) {
    for (size_t i = 0; i < limit.hz.size(); ++i) {
      char field[40];
      std::snprintf(field, sizeof(field), "%.17e", limit.db[i]);
      lines[limit.hz[i]].*member = field;
    }
  };
  add(mask.upper, &std::pair<std::string, std::string>::first);
  add(mask.lower, &std::pair<std::string, std::string>::second);
  std::string text = "#\r\n";
  for (const auto& [hz, limits] : lines) {
    char field[40];
    std::snprintf(field, sizeof(field), "%.17e", hz);
    text += std::string("\t") + field + " , " + limits.first + ",\t" + limits.second + "\r\n\r\n";
  }
  const Mask again = ParseMask(text, "m");
  for (const auto& [left, right] :
       {std::pair(&mask.upper, &again.upper), {&mask.lower, &again.lower}}) {
    FUZZ_CHECK(left->hz == right->hz && left->db == right->db);
  }
}

void Check(const std::string& text) {
  Mask mask;
  try {
    mask = ParseMask(text, "m");
  } catch (const tools::InputError& error) {
    CheckRefusal(text, error.what());
    return;
  }
  CheckLimit(mask.upper);
  CheckLimit(mask.lower);
  CheckMargins(mask);
  CheckInOtherDress(mask);
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
