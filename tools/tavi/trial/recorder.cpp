#include "trial/recorder.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <utility>

namespace brelmo::tavi::tools {

namespace {

// What no module leaves by chance.
constexpr int kErrnoBefore = EXDEV;
constexpr int kErrnoOfLogger = EIO;

// Swaps two neighbours in `line`: "`second`...`end`" followed by "`first`...`end`".
void Swap(std::string& line, const std::string& first, const std::string& second,
          const std::string& end) {
  for (size_t at = line.find(second); at != std::string::npos; at = line.find(second, at)) {
    const size_t middle = line.find(end, at);
    if (middle == std::string::npos) return;
    const size_t begin_of_first = middle + end.size();
    const size_t end_of_first = line.find(end, begin_of_first);
    if (end_of_first == std::string::npos) return;
    if (line.compare(begin_of_first, first.size(), first) == 0) {
      std::rotate(line.begin() + static_cast<std::ptrdiff_t>(at),
                  line.begin() + static_cast<std::ptrdiff_t>(begin_of_first),
                  line.begin() + static_cast<std::ptrdiff_t>(end_of_first + end.size()));
    }
    at = end_of_first + end.size();
  }
}

}  // namespace

std::string LogText(android::base::LogSeverity severity, const std::string& tag,
                    const std::string& text) {
  return std::string("log ") + simulator::SeverityName(severity) + " [" + tag + "] " + text;
}

std::string WriteText(const simulator::DspWrite& write) {
  Lines messages;
  for (const auto& message : write.parsed.messages) {
    std::ostringstream text;
    if (!message.is_response()) {
      text << "status " << message.is_active();
    } else {
      text << simulator::DspMessageTypeName(message.type) << "(";
      if (const auto response = message.Response(); response.size() == 2) {
        text << response[0] << " " << response[1] << ")";
      } else {
        text << message.bin_count() << " bins)";
      }
    }
    messages.push_back(text.str());
  }
  std::sort(messages.begin(), messages.end());
  std::string text = "write";
  for (const auto& message : messages) text += " " + message;
  return text + " = " + std::to_string(write.result);
}

std::string InFixedOrder(const std::string& line) {
  std::string ordered = line;
  Swap(ordered, "Name : HingeAngle,", "Name : ScreenRotation,", "} ");
  Swap(ordered, "(HingeAngle,", "(ScreenRotation,", ") ");
  Swap(ordered, "(LeftChannel,", "(RightChannel,", ") ");
  return ordered;
}

Recorder::Recorder()
    : capture_([this](const simulator::LogLine& line) {
        Append(InFixedOrder(LogText(line.severity, line.tag, line.text)));
        if (watches_errno_) errno = kErrnoOfLogger;
      }) {}

Lines Recorder::TakeLines() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(lines_, {});
}

std::vector<simulator::DspWrite> Recorder::TakeWrites() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(writes_, {});
}

Lines Recorder::TakeViolations() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(violations_, {});
}

void Recorder::HoldWrites() {
  const std::lock_guard<std::mutex> lock(mutex_);
  is_holding_ = true;
}

void Recorder::ReleaseWrites() {
  const std::lock_guard<std::mutex> lock(mutex_);
  is_holding_ = false;
  changed_.notify_all();
}

bool Recorder::WaitForHeldWrite(std::chrono::milliseconds time) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, time, [this] { return held_ > 0; });
}

void Recorder::OnEventBegin(const simulator::HostEvent& /*event*/) {
  if (watches_errno_) errno = kErrnoBefore;
}

void Recorder::OnEventEnd(const simulator::HostEvent& /*event*/) {
  const int left = errno;
  ++ended_events_;
  if (watches_errno_ && left != kErrnoBefore) {
    OnViolation("errno was " + std::to_string(kErrnoBefore) + " before the event and is " +
                std::to_string(left) +
                (left == kErrnoOfLogger ? ", as the logger left it, behind it" : " behind it"));
  }
}

void Recorder::OnHostCall(const std::string& call) { Append("call " + call); }

void Recorder::OnWrite(const simulator::DspWrite& write) {
  Append(WriteText(write));
  std::unique_lock<std::mutex> lock(mutex_);
  writes_.push_back(write);
  if (is_holding_) {
    ++held_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !is_holding_; });
    --held_;
  }
}

void Recorder::OnViolation(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  violations_.push_back(text);
}

void Recorder::Append(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  lines_.push_back(line);
}

}  // namespace brelmo::tavi::tools
