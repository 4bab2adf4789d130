#include "dsp_message.h"

#include <cstring>

#include <utility>

namespace brelmo::tavi::simulator {

namespace {

constexpr size_t kHeaderSize = 8;

template <typename T>
T Read(const unsigned char* data) {
  T value{};
  std::memcpy(&value, data, sizeof(value));
  return value;
}

// Why the message makes no sense; empty when it does.
std::string FindFault(const DspMessage& message) {
  const std::string size = std::to_string(message.payload.size()) + " bytes";
  switch (message.type) {
    case kModuleStatusMessage:
      if (message.payload.size() != sizeof(uint32_t)) {
        return "a module status has a payload of 4 bytes, not " + size;
      }
      if (const auto value = Read<uint32_t>(message.payload.data()); value > 1) {
        return "a module status is 0 or 1, not " + std::to_string(value);
      }
      return "";
    case kLeftMessage:
    case kRightMessage:
      if (message.payload.empty()) return "a response without a bin";
      if (message.payload.size() % (2 * sizeof(float)) != 0) {
        return "a response of " + size + " is no whole number of complex bins";
      }
      return "";
    default:
      return "unknown message type " + std::to_string(message.type);
  }
}

}  // namespace

std::vector<float> DspMessage::Response() const {
  std::vector<float> response(payload.size() / sizeof(float));
  std::memcpy(response.data(), payload.data(), response.size() * sizeof(float));
  return response;
}

const char* DspMessageTypeName(int32_t type) {
  switch (type) {
    case kModuleStatusMessage:
      return "status";
    case kLeftMessage:
      return "left";
    case kRightMessage:
      return "right";
    default:
      return "unknown";
  }
}

DspMessages ParseDspMessages(const unsigned char* data, size_t size) {
  DspMessages result;
  for (size_t offset = 0; offset < size;) {
    const size_t left = size - offset;
    if (left < kHeaderSize) {
      result.damage = {offset, "only " + std::to_string(left) + " bytes left, a header has " +
                                   std::to_string(kHeaderSize)};
      return result;
    }
    DspMessage message;
    message.type = Read<int32_t>(data + offset);
    message.offset = offset;
    const size_t payload_size = Read<uint32_t>(data + offset + sizeof(int32_t));
    if (payload_size > left - kHeaderSize) {
      result.damage = {offset, "a payload of " + std::to_string(payload_size) + " bytes (type " +
                                   std::to_string(message.type) + ") where " +
                                   std::to_string(left - kHeaderSize) + " bytes are left"};
      return result;
    }
    const unsigned char* const payload = data + offset + kHeaderSize;
    message.payload.assign(payload, payload + payload_size);
    if (std::string fault = FindFault(message); !fault.empty()) {
      result.damage = {offset, std::move(fault)};
      return result;
    }
    offset += kHeaderSize + payload_size;
    result.messages.push_back(std::move(message));
  }
  return result;
}

}  // namespace brelmo::tavi::simulator
