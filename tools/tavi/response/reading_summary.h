// What the reader of measurements took a file for, to be said to its user.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace brelmo::tavi::tools {

struct ReadingSummary {
  std::string file;
  bool is_impulse = false;
  size_t points = 0;  // of an impulse response: samples in the window
  double from_hz = 0.0;
  double to_hz = 0.0;
  bool has_phase = false;
  double delay_seconds = 0.0;  // that was removed

  // Of text.
  std::string encoding;              // "UTF-8", "UTF-16LE", ...
  std::string separator;             // "tab", "semicolon", "comma", "spaces"; empty in audio
  std::string decimal_sign;          // "point", "comma"; empty in audio
  std::string thousands;             // "comma", ...; empty without a sign
  std::vector<std::string> columns;  // that were used, as "1 (Freq(Hz))"
  std::vector<std::string> unused_columns;
  size_t comment_lines = 0;
  size_t header_lines = 0;

  // Of an impulse response.
  std::string format;  // "WAV, 24 bit"
  double rate_hz = 0.0;
  size_t channel = 0;  // counted from 1; 0 in text
  size_t channels = 0;
  size_t start_sample = 0;
  double window_ms = 0.0;  // 0 without a window
};

// One line for people, without the file's name.
std::string SummaryText(const ReadingSummary& summary);
// What does not apply is null.
nlohmann::ordered_json SummaryToJson(const ReadingSummary& summary);

}  // namespace brelmo::tavi::tools
