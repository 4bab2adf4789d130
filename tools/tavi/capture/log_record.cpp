#include "capture/log_record.h"

#include <utility>

#include "capture/posture_keys.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

constexpr int64_t kSecond = 1000000;
constexpr int64_t kDay = int64_t{24} * 3600 * kSecond;
constexpr int kYearWithoutOne = 2000;  // has a February 29

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

void SkipBlanks(std::string_view& text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
}

// Exactly `digits` of them.
bool TakeDigits(std::string_view& text, size_t digits, int& value) {
  if (text.size() < digits) return false;
  value = 0;
  for (size_t i = 0; i < digits; ++i) {
    if (!IsDigit(text[i])) return false;
    value = 10 * value + (text[i] - '0');
  }
  text.remove_prefix(digits);
  return true;
}

// ".123" or ".123456", in microseconds.
bool TakeFraction(std::string_view& text, int64_t& us) {
  if (text.size() < 2 || text[0] != '.' || !IsDigit(text[1])) return false;
  text.remove_prefix(1);
  us = 0;
  int64_t unit = kSecond;
  while (!text.empty() && IsDigit(text.front())) {
    unit /= 10;
    us += unit * (text.front() - '0');
    text.remove_prefix(1);
  }
  return true;
}

// Days since 1970-01-01 of a date of the Gregorian calendar.
int64_t DaysOf(int year, int month, int day) {
  const int shifted = month <= 2 ? year - 1 : year;
  const int era = shifted / 400;
  const int year_of_era = shifted - era * 400;
  const int day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return static_cast<int64_t>(era) * 146097 + day_of_era - 719468;
}

struct Date {
  int year;
  int month;
  int day;
};

Date DateOf(int64_t days) {
  const int64_t shifted = days + 719468;
  const int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
  const int64_t day_of_era = shifted - era * 146097;
  const int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int64_t shifted_month = (5 * day_of_year + 2) / 153;
  const auto month = static_cast<int>(shifted_month + (shifted_month < 10 ? 3 : -9));
  return {static_cast<int>(year_of_era + era * 400 + (month <= 2 ? 1 : 0)), month,
          static_cast<int>(day_of_year - (153 * shifted_month + 2) / 5 + 1)};
}

bool TakeZone(std::string_view& text, int& minutes) {
  if (text.size() < 5 || (text[0] != '+' && text[0] != '-')) return false;
  const int sign = text[0] == '-' ? -1 : 1;
  std::string_view rest = text.substr(1);
  int hours = 0;
  int part = 0;
  if (!TakeDigits(rest, 2, hours) || !TakeDigits(rest, 2, part)) return false;
  minutes = sign * (60 * hours + part);
  text = rest;
  return true;
}

// "2026-11-22 00:07:12.123 +0100" or "11-22 00:07:12.123".
std::optional<LogTime> TakeDate(std::string_view& text) {
  std::string_view rest = text;
  LogTime time;
  time.kind = ClockKind::kDate;
  Date date = {kYearWithoutOne, 0, 0};
  if (rest.size() > 4 && rest[4] == '-') {
    time.kind = ClockKind::kYear;
    if (!TakeDigits(rest, 4, date.year) || !TakeWord(rest, "-")) return std::nullopt;
  }
  int hour = 0;
  int minute = 0;
  int second = 0;
  int64_t fraction = 0;
  if (!TakeDigits(rest, 2, date.month) || !TakeWord(rest, "-") || !TakeDigits(rest, 2, date.day) ||
      !TakeWord(rest, " ") || !TakeDigits(rest, 2, hour) || !TakeWord(rest, ":") ||
      !TakeDigits(rest, 2, minute) || !TakeWord(rest, ":") || !TakeDigits(rest, 2, second) ||
      !TakeFraction(rest, fraction)) {
    return std::nullopt;
  }
  if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31) return std::nullopt;
  time.us = DaysOf(date.year, date.month, date.day) * kDay +
            (3600LL * hour + 60LL * minute + second) * kSecond + fraction;
  std::string_view zone = rest;
  SkipBlanks(zone);
  if (TakeZone(zone, time.zone_minutes)) {
    time.us -= time.zone_minutes * 60LL * kSecond;
    rest = zone;
  }
  text = rest;
  return time;
}

// "1763770032.123" or "    123.456".
std::optional<LogTime> TakeSeconds(std::string_view& text) {
  std::string_view rest = text;
  SkipBlanks(rest);
  int64_t seconds = 0;
  size_t digits = 0;
  for (; digits < rest.size() && IsDigit(rest[digits]); ++digits) {
    if (digits == 12) return std::nullopt;
    seconds = 10 * seconds + (rest[digits] - '0');
  }
  if (digits == 0) return std::nullopt;
  rest.remove_prefix(digits);
  int64_t fraction = 0;
  if (!TakeFraction(rest, fraction)) return std::nullopt;
  text = rest;
  return TimeOfSeconds(seconds * kSecond + fraction);
}

std::optional<LogTime> TakeTime(std::string_view& text) {
  if (auto date = TakeDate(text)) return date;
  return TakeSeconds(text);
}

bool IsSeverity(char c) {
  return c != '\0' && std::string_view("VDIWEFAS").find(c) != std::string_view::npos;
}

// "( 1234)" or "( 1234: 5678)"; with the user before them where `has_user`, which is a number or a
// name.
bool TakeIds(std::string_view& text, bool has_user, LogRecord& record) {
  std::string_view rest = text;
  if (!TakeWord(rest, "(")) return false;
  if (has_user) {
    const size_t colon = rest.find(':');
    if (colon == std::string_view::npos || rest.find(')') < colon) {
      return false;
    }
    rest.remove_prefix(colon + 1);
  }
  SkipBlanks(rest);
  const auto process = TakeInt(rest);
  if (!process) return false;
  std::optional<int> thread;
  if (TakeWord(rest, ":")) {
    SkipBlanks(rest);
    thread = TakeInt(rest);
    if (!thread) return false;
  }
  if (!TakeWord(rest, ")")) return false;
  record.process = *process;
  record.thread = thread.value_or(-1);
  text = rest;
  return true;
}

std::string_view WithoutBlanks(std::string_view text) {
  SkipBlanks(text);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

// Behind "I/": "tag     ( 1234): message" or "tag     : message".
bool ParseTagged(std::string_view rest, LogRecord& record) {
  // A tag may hold colons; "(" or ": " ends it.
  for (size_t i = 0; i < rest.size(); ++i) {
    std::string_view behind = rest.substr(i);
    // No thread stands there: of two numbers the first one is the user.
    const bool has_ids =
        behind[0] == '(' && (TakeIds(behind, true, record) || TakeIds(behind, false, record));
    if (!(has_ids ? TakeWord(behind, ":") : TakeWord(behind, ": ") || behind == ":")) continue;
    TakeWord(behind, " ");
    record.tag = WithoutBlanks(rest.substr(0, i));
    record.message = behind == ":" ? std::string_view() : behind;
    return true;
  }
  return false;
}

// "[ 11-22 00:07:12.123  1234: 5678 I/tag ]", with the time taken: "  1234: 5678 I/tag ]".
bool ParseLongHead(std::string_view rest, LogRecord& record) {
  SkipBlanks(rest);
  // The user may stand before the process.
  if (const size_t colon = rest.find(':'); colon != std::string_view::npos) {
    const size_t blank = rest.substr(0, colon).rfind(' ');
    const size_t user = rest.substr(0, colon).rfind(':');
    if (blank != std::string_view::npos && user == std::string_view::npos) {
      std::string_view last = rest.substr(blank + 1);
      if (!last.empty() && IsDigit(last[0])) rest = last;
    }
  }
  const auto process = TakeInt(rest);
  if (!process || !TakeWord(rest, ":")) return false;
  SkipBlanks(rest);
  const auto thread = TakeInt(rest);
  if (!thread || !TakeWord(rest, " ") || rest.size() < 2 || !IsSeverity(rest[0]) ||
      rest[1] != '/') {
    return false;
  }
  record.process = *process;
  record.thread = *thread;
  record.severity = rest[0];
  rest.remove_prefix(2);
  if (const size_t end = rest.rfind(']'); end != std::string_view::npos) rest = rest.substr(0, end);
  record.tag = WithoutBlanks(rest);
  record.is_head_only = true;
  return true;
}

// " 1234  5678 I tag     : message", a user before them or not.
bool ParseThreadTime(std::string_view rest, LogRecord& record) {
  SkipBlanks(rest);
  std::string_view fields[4];  // user, process, thread, severity; or the last three
  size_t count = 0;
  while (count < 4) {
    const size_t end = rest.find(' ');
    if (end == std::string_view::npos) return false;
    fields[count++] = rest.substr(0, end);
    rest.remove_prefix(end);
    SkipBlanks(rest);
    const std::string_view last = fields[count - 1];
    if (last.size() == 1 && IsSeverity(last[0])) break;
  }
  if (count < 3 || fields[count - 1].size() != 1 || !IsSeverity(fields[count - 1][0])) return false;
  const auto process = TakeInt(fields[count - 3]);
  const auto thread = TakeInt(fields[count - 2]);
  if (!process || !thread) return false;
  const size_t colon = rest.find(": ");
  const bool is_empty = colon == std::string_view::npos;
  if (is_empty && (rest.empty() || rest.back() != ':')) return false;
  record.process = *process;
  record.thread = *thread;
  record.severity = fields[count - 1][0];
  record.tag = WithoutBlanks(rest.substr(0, is_empty ? rest.size() - 1 : colon));
  record.message = is_empty ? std::string_view() : rest.substr(colon + 2);
  return true;
}

// Without what colours it.
std::string_view WithoutColours(std::string_view line) {
  while (line.size() > 2 && line[0] == '\x1b' && line[1] == '[') {
    const size_t end = line.find('m');
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
  }
  if (const size_t escape = line.rfind("\x1b["); escape != std::string_view::npos &&
                                                 !line.empty() && line.back() == 'm' &&
                                                 line.find('m', escape) == line.size() - 1) {
    line = line.substr(0, escape);
  }
  return line;
}

// "log   INFO [tag] message", as `tavi run` prints it.
bool ParseRunLine(std::string_view line, LogRecord& record) {
  SkipBlanks(line);
  if (!TakeWord(line, "log   ")) return false;
  const size_t open = line.find(" [");
  const size_t close = line.find("] ");
  if (open == std::string_view::npos || close == std::string_view::npos || close < open ||
      open == 0) {
    return false;
  }
  record.severity = line[0];
  record.tag = line.substr(open + 2, close - open - 2);
  record.message = line.substr(close + 2);
  return true;
}

// A line whose severity stands first: "I/tag( 1234): ...", "I( 1234) message  (tag)".
bool ParseSeverityFirst(std::string_view rest, LogRecord& record) {
  if (rest.size() < 3 || !IsSeverity(rest[0])) return false;
  record.severity = rest[0];
  if (rest[1] == '/') return ParseTagged(rest.substr(2), record);
  if (rest[1] != '(') return false;
  rest.remove_prefix(1);
  if (!TakeIds(rest, false, record) && !TakeIds(rest, true, record)) return false;
  TakeWord(rest, " ");
  record.message = rest;
  // The format "process" puts the tag behind the message.
  const size_t open = rest.rfind("  (");
  if (open != std::string_view::npos && rest.back() == ')') {
    // It has no thread: of two numbers the first one is the user.
    if (record.thread != -1) record.process = std::exchange(record.thread, -1);
    record.tag = WithoutBlanks(rest.substr(open + 3, rest.size() - open - 4));
    record.message = rest.substr(0, open);
  }
  return true;
}

}  // namespace

std::string DescribeTime(const LogTime& time) {
  if (time.kind == ClockKind::kNone) return "";
  if (time.kind == ClockKind::kMonotonic) {
    return Format("%.3f s", static_cast<double>(time.us) / kSecond);
  }
  const int64_t us = time.us + time.zone_minutes * 60LL * kSecond;
  int64_t days = us / kDay;
  if (us < days * kDay) --days;
  const Date date = DateOf(days);
  const int64_t ms = (us - days * kDay) / 1000;
  return (time.kind == ClockKind::kDate ? "" : Format("%04d-", date.year)) +
         Format("%02d-%02d %02d:%02d:%02d.%03d", date.month, date.day,
                static_cast<int>(ms / 3600000), static_cast<int>(ms / 60000 % 60),
                static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
}

LogTime TimeOfSeconds(int64_t us) {
  // No device has been up for ten years.
  constexpr int64_t kLongestUptime = int64_t{10} * 366 * kDay;
  return {us > kLongestUptime ? ClockKind::kEpoch : ClockKind::kMonotonic, us, 0};
}

LogRecord ParseLogRecord(std::string_view line) {
  line = WithoutColours(line);
  LogRecord record;
  record.message = line;
  if (line.empty()) return record;
  if (ParseRunLine(line, record)) return record;

  std::string_view rest = line;
  const bool is_long = TakeWord(rest, "[ ");
  if (const auto time = TakeTime(rest)) {
    LogRecord found;
    found.time = *time;
    if (is_long ? ParseLongHead(rest, found) : ParseThreadTime(rest, found)) return found;
    SkipBlanks(rest);
    if (ParseSeverityFirst(rest, found)) return found;
  } else if (LogRecord found; ParseSeverityFirst(line, found)) {
    return found;
  }
  return record;
}

std::optional<LogTime> ParseStepTime(std::string_view line) {
  const size_t unit = line.find(" s  ");
  if (unit == std::string_view::npos || unit < 4 || unit > 16) return std::nullopt;
  std::string_view number = line.substr(0, unit);
  const auto time = TakeSeconds(number);
  if (!time || !number.empty()) return std::nullopt;
  return LogTime{ClockKind::kMonotonic, time->us, 0};
}

}  // namespace brelmo::tavi::tools
