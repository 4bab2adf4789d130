// Sees the log lines of everything in the process that logs through libbase, a loaded module
// included.
#pragma once

#include <functional>
#include <string>

#include <android-base/logging.h>

namespace brelmo::tavi::simulator {

// One call of the logger. A message that holds line feeds arrives as several.
struct LogLine {
  android::base::LogSeverity severity;
  std::string tag;
  std::string text;
};

// "INFO", "WARNING", ...
const char* SeverityName(android::base::LogSeverity severity);

// While one lives, `handler` gets every line, on the thread that logged it, one call at a time; the
// handler must not log. The one made last is in force; they end in reverse order of their making.
// Without a capture, lines go to standard error.
class LogCapture {
 public:
  using Handler = std::function<void(const LogLine&)>;

  explicit LogCapture(Handler handler);
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture();

 private:
  Handler handler_;
  Handler* outer_;
};

}  // namespace brelmo::tavi::simulator
