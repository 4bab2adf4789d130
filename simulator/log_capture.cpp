#include "log_capture.h"

#include <mutex>
#include <utility>

namespace brelmo::tavi::simulator {

namespace {

std::mutex handler_mutex;
LogCapture::Handler* current_handler = nullptr;

void Dispatch(android::base::LogId id, android::base::LogSeverity severity, const char* tag,
              const char* file, unsigned int line, const char* message) {
  const std::lock_guard<std::mutex> lock(handler_mutex);
  if (current_handler == nullptr) {
    android::base::StderrLogger(id, severity, tag, file, line, message);
    return;
  }
  (*current_handler)({severity, tag == nullptr ? "" : tag, message});
}

}  // namespace

const char* SeverityName(android::base::LogSeverity severity) {
  switch (severity) {
    case android::base::VERBOSE:
      return "VERBOSE";
    case android::base::DEBUG:
      return "DEBUG";
    case android::base::INFO:
      return "INFO";
    case android::base::WARNING:
      return "WARNING";
    case android::base::ERROR:
      return "ERROR";
    case android::base::FATAL_WITHOUT_ABORT:
    case android::base::FATAL:
      break;
  }
  return "FATAL";
}

LogCapture::LogCapture(Handler handler) : handler_(std::move(handler)) {
  // Once for the process: replacing the logger while another thread logs is not safe.
  static std::once_flag installed;
  std::call_once(installed, [] { android::base::SetLogger(Dispatch); });
  const std::lock_guard<std::mutex> lock(handler_mutex);
  outer_ = std::exchange(current_handler, &handler_);
}

LogCapture::~LogCapture() {
  const std::lock_guard<std::mutex> lock(handler_mutex);
  current_handler = outer_;
}

}  // namespace brelmo::tavi::simulator
