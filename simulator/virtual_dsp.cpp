#include "virtual_dsp.h"

#include <algorithm>
#include <thread>

namespace brelmo::tavi::simulator {

bool DspWrite::has_response() const {
  return std::any_of(parsed.messages.begin(), parsed.messages.end(),
                     [](const DspMessage& message) { return message.is_response(); });
}

DspWrite VirtualDsp::Receive(const unsigned char* data, size_t size) {
  if (const auto time = delay(); time.count() > 0) std::this_thread::sleep_for(time);

  DspWrite write;
  write.bytes.assign(data, data + size);
  write.parsed = ParseDspMessages(data, size);

  const std::lock_guard<std::mutex> lock(mutex_);
  if (refusals_ > 0) {
    --refusals_;
    write.result = refusal_code_;
    return write;
  }
  for (const DspMessage& message : write.parsed.messages) {
    switch (message.type) {
      case kLeftMessage:
        state_.left = message.Response();
        break;
      case kRightMessage:
        state_.right = message.Response();
        break;
      default:
        state_.module_active = message.is_active();
        break;
    }
  }
  return write;
}

void VirtualDsp::RefuseNext(int count, int code) {
  const std::lock_guard<std::mutex> lock(mutex_);
  refusals_ = count;
  refusal_code_ = code;
}

void VirtualDsp::SetDelay(std::chrono::microseconds delay) {
  const std::lock_guard<std::mutex> lock(mutex_);
  delay_ = delay;
}

std::chrono::microseconds VirtualDsp::delay() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return delay_;
}

VirtualDsp::State VirtualDsp::state() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return state_;
}

}  // namespace brelmo::tavi::simulator
