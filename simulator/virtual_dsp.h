// The Tavi DSP as far as the module can tell.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

#include "dsp_message.h"

namespace brelmo::tavi::simulator {

// One block of bytes that reached the DSP.
struct DspWrite {
  std::vector<unsigned char> bytes;
  DspMessages parsed;
  int result = 0;  // what the DSP answered; 0 is success

  bool is_accepted() const { return result == 0; }
  bool has_response() const;
};

// Thread-safe.
class VirtualDsp {
 public:
  // What the DSP works with now. A response is empty until the first one arrives.
  struct State {
    std::optional<bool> module_active;
    std::optional<std::vector<float>> left;
    std::optional<std::vector<float>> right;
  };

  // Takes a block, in the caller's time. A refused block, or the part of one from where it is
  // damaged, changes nothing.
  DspWrite Receive(const unsigned char* data, size_t size);

  // Faults. The next `count` blocks are answered with `code` (not 0).
  void RefuseNext(int count, int code);
  void SetDelay(std::chrono::microseconds delay);
  std::chrono::microseconds delay() const;

  State state() const;

 private:
  mutable std::mutex mutex_;
  State state_;
  int refusals_ = 0;
  int refusal_code_ = 0;
  std::chrono::microseconds delay_{0};
};

}  // namespace brelmo::tavi::simulator
