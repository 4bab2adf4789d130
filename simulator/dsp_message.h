// What the Tavi DSP makes of the bytes that it is sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brelmo::tavi::simulator {

enum DspMessageType : int32_t {
  kModuleStatusMessage = 0,  // payload: 32-bit 1 (active) or 0 (inactive)
  kLeftMessage = 16,         // payload: frequency response, real and imaginary float of each bin
  kRightMessage = 17,
};

struct DspMessage {
  int32_t type = 0;
  size_t offset = 0;  // of the message in the bytes it was found in
  std::vector<unsigned char> payload;

  bool is_response() const { return type == kLeftMessage || type == kRightMessage; }
  // Of a response.
  std::vector<float> Response() const;
  size_t bin_count() const { return payload.size() / (2 * sizeof(float)); }
  // Of a module status.
  bool is_active() const { return !payload.empty() && payload[0] != 0; }
};

// "left", "right", "status" or "unknown".
const char* DspMessageTypeName(int32_t type);

struct DspMessages {
  struct Damage {
    size_t offset;  // of the first message that makes no sense
    std::string reason;
  };

  std::vector<DspMessage> messages;  // those before the damage
  std::optional<Damage> damage;
};

// Splits `size` bytes into the messages that follow each other in it.
DspMessages ParseDspMessages(const unsigned char* data, size_t size);

}  // namespace brelmo::tavi::simulator
