// Framing of messages to the Tavi DSP: a 32-bit type, a 32-bit payload length in bytes, the
// payload. Integers are in the host's byte order; messages in one delivery follow each other
// directly.
//
// The including source file defines LOG_TAG; the lines logged here bear it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <android-base/logging.h>

namespace brelmo::tavi::audio::compensation {

// Bytes in front of every payload.
constexpr size_t kTaviMessageHeaderSize = 8;

// Writes one message into `buffer`, whose `buffer_size` must be exactly the message's length,
// kTaviMessageHeaderSize + `size` bytes. False, with a WARNING line and `buffer` untouched,
// otherwise or when there is nothing to write.
inline bool PackageTaviCompensationData(unsigned char* buffer, size_t buffer_size, int32_t type,
                                        const unsigned char* data, size_t size) {
  if (buffer == nullptr || buffer_size == 0 || data == nullptr || size == 0) {
    LOG(WARNING) << __func__ << ": invalid parameters";
    return false;
  }
  // Subtracting from the room instead of adding to the payload's size: the sum could wrap.
  if (buffer_size < kTaviMessageHeaderSize || buffer_size - kTaviMessageHeaderSize != size) {
    LOG(WARNING) << __func__ << ": insufficient memory";
    return false;
  }
  const auto payload_size = static_cast<uint32_t>(size);
  std::memcpy(buffer, &type, sizeof(type));
  std::memcpy(buffer + sizeof(type), &payload_size, sizeof(payload_size));
  std::memcpy(buffer + kTaviMessageHeaderSize, data, size);
  return true;
}

}  // namespace brelmo::tavi::audio::compensation
