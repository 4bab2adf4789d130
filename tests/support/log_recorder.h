// The log lines of the code under test, severity, tag and text, for comparison to the letter.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "log_capture.h"

namespace brelmo::tavi::test {

// One line as LogRecorder gives it.
inline std::string LogText(android::base::LogSeverity severity, const std::string& tag,
                           const std::string& text) {
  return std::string("log ") + simulator::SeverityName(severity) + " [" + tag + "] " + text;
}

constexpr const char* kEngineTag = "audio_hw_telephony_speaker_compensation";

inline std::string EngineInfo(const std::string& text) {
  return LogText(android::base::INFO, kEngineTag, text);
}
inline std::string EngineWarning(const std::string& text) {
  return LogText(android::base::WARNING, kEngineTag, text);
}
inline std::string EngineError(const std::string& text) {
  return LogText(android::base::ERROR, kEngineTag, text);
}
inline std::string IndexError(const std::string& text) {
  return LogText(android::base::ERROR, "AHal::CompensationIndex", text);
}

class LogRecorder {
 public:
  // The lines since the last call. Not while another thread may log.
  std::vector<std::string> Take() { return std::exchange(lines_, {}); }

 private:
  std::vector<std::string> lines_;
  simulator::LogCapture capture_{[this](const simulator::LogLine& line) {
    lines_.push_back(LogText(line.severity, line.tag, line.text));
  }};
};

}  // namespace brelmo::tavi::test
