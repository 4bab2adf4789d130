// Lines of a log as logcat prints them, in any of its formats, and as `tavi run` does.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brelmo::tavi::tools {

enum class ClockKind : uint8_t {
  kNone,       // no time
  kDate,       // date and time of day, without a year
  kYear,       // with one
  kEpoch,      // seconds since 1970
  kMonotonic,  // seconds since the device, or the run, started
};

struct LogTime {
  ClockKind kind = ClockKind::kNone;
  // Microseconds; since 1970 by the log's own clock, a year that is not known being 2000. With a
  // zone, UTC.
  int64_t us = 0;
  int zone_minutes = 0;  // that the log shows times in
};

// "11-22 00:07:12.123", "12.345 s".
std::string DescribeTime(const LogTime& time);

struct LogRecord {
  LogTime time;
  int32_t process = -1;  // -1: the format has none
  int32_t thread = -1;
  char severity = 0;     // V, D, I, W, E, F, A or 0
  std::string_view tag;  // empty: the format has none
  std::string_view message;
  // The message is the next line, as in the format "long".
  bool is_head_only = false;
};

// Of microseconds since 1970, or since a device or a run started, as their size tells.
LogTime TimeOfSeconds(int64_t us);

// What the line's beginning says; a line of no known format is all message. `line` is without its
// end and outlives the result.
LogRecord ParseLogRecord(std::string_view line);

// The time of a line with which `tavi run` begins a step; empty for any other line.
std::optional<LogTime> ParseStepTime(std::string_view line);

}  // namespace brelmo::tavi::tools
