// Bytes as the module sends them to the DSP.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace brelmo::tavi::test {

inline std::string Header(int32_t type, uint32_t payload_size) {
  std::string bytes(8, '\0');
  std::memcpy(bytes.data(), &type, sizeof(type));
  std::memcpy(bytes.data() + sizeof(type), &payload_size, sizeof(payload_size));
  return bytes;
}

inline std::string StatusMessage(uint32_t status) {
  std::string bytes = Header(0, sizeof(status)) + std::string(sizeof(status), '\0');
  std::memcpy(bytes.data() + 8, &status, sizeof(status));
  return bytes;
}

// `type` 16 is the left channel, 17 the right one.
inline std::string ResponseMessage(int32_t type, const std::vector<float>& response) {
  const std::string payload(reinterpret_cast<const char*>(response.data()),
                            response.size() * sizeof(float));
  return Header(type, static_cast<uint32_t>(payload.size())) + payload;
}

inline const unsigned char* DataOf(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

}  // namespace brelmo::tavi::test
