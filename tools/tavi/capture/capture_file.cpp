#include "capture/capture_file.h"

#include <cstring>

#include <algorithm>
#include <utility>

#include "capture/posture_keys.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::DspMessage;
using simulator::DspMessages;
using Damage = DspMessages::Damage;

constexpr size_t kHeaderSize = 8;
// A longer message is none: a response of this size has half a million bins.
constexpr uint32_t kLargestPayload = uint32_t{4} << 20;

// ---- pcapng, as far as it is needed ----

constexpr uint32_t kSectionBlock = 0x0a0d0d0a;
constexpr uint32_t kInterfaceBlock = 1;
constexpr uint32_t kSimplePacketBlock = 3;
constexpr uint32_t kPacketBlock = 6;
constexpr uint32_t kByteOrderMagic = 0x1a2b3c4d;
constexpr uint16_t kUserLinkType = 147;
constexpr uint32_t kLargestBlock = uint32_t{8} << 20;
constexpr uint16_t kCommentOption = 1;
constexpr uint16_t kNameOption = 2;
constexpr uint16_t kResolutionOption = 9;
constexpr std::string_view kResultComment = "result ";

constexpr size_t Padded(size_t size) { return (size + 3) / 4 * 4; }

// Numbers of a block, in the section's byte order. What lies behind the end is 0.
class BlockBytes {
 public:
  BlockBytes(std::string_view bytes, bool is_swapped) : bytes_(bytes), is_swapped_(is_swapped) {}

  uint32_t U32(size_t at) const { return Number(at, 4); }
  uint16_t U16(size_t at) const { return static_cast<uint16_t>(Number(at, 2)); }
  std::string_view bytes() const { return bytes_; }

  // The value of the first option with this code in the options from `at` on.
  std::optional<std::string_view> Option(size_t at, uint16_t code) const {
    while (at + 4 <= bytes_.size()) {
      const size_t size = U16(at + 2);
      if (at + 4 + size > bytes_.size() || U16(at) == 0) break;
      if (U16(at) == code) return bytes_.substr(at + 4, size);
      at += 4 + Padded(size);
    }
    return std::nullopt;
  }

 private:
  uint32_t Number(size_t at, size_t size) const {
    uint32_t number = 0;
    if (at + size > bytes_.size()) return 0;
    for (size_t i = 0; i < size; ++i) {
      const size_t place = is_swapped_ ? size - 1 - i : i;
      number |= static_cast<uint32_t>(static_cast<unsigned char>(bytes_[at + i])) << (8 * place);
    }
    return number;
  }

  const std::string_view bytes_;
  const bool is_swapped_;
};

struct Interface {
  bool is_ours = false;
  double seconds_per_tick = 1e-6;
};

Interface ReadInterface(const BlockBytes& block) {
  Interface result;
  result.is_ours = block.U16(8) == kUserLinkType;
  if (const auto option = block.Option(16, kResolutionOption); option && option->size() == 1) {
    const auto exponent = static_cast<unsigned char>(option->front());
    result.seconds_per_tick = 1;
    for (int i = 0; i < (exponent & 0x7f); ++i) {
      result.seconds_per_tick /= (exponent & 0x80) != 0 ? 2 : 10;
    }
  }
  return result;
}

std::optional<int> ReadResult(std::string_view comment) {
  if (!TakeWord(comment, kResultComment)) return std::nullopt;
  const auto result = TakeInt(comment);
  while (TakeWord(comment, " ")) {
  }
  return comment.empty() ? result : std::nullopt;
}

void TakePacket(const BlockBytes& block, const std::vector<Interface>& interfaces,
                uint64_t block_offset, const DeliveryHandler& handler) {
  const size_t number = block.U32(8);
  if (number >= interfaces.size() || !interfaces[number].is_ours) return;
  constexpr size_t kData = 28;
  const size_t captured = block.U32(20);
  if (kData + captured + 4 > block.bytes().size()) return;
  CapturedDelivery delivery;
  delivery.offset = block_offset + kData;
  delivery.size = captured;
  const uint64_t ticks = static_cast<uint64_t>(block.U32(12)) << 32 | block.U32(16);
  const double us = static_cast<double>(ticks) * interfaces[number].seconds_per_tick * 1e6;
  // 9000 years: of no clock.
  if (us < 3e17) {
    delivery.time_us = interfaces[number].seconds_per_tick == 1e-6 ? static_cast<int64_t>(ticks)
                                                                   : static_cast<int64_t>(us);
  }
  if (const auto comment = block.Option(kData + Padded(captured), kCommentOption)) {
    delivery.result = ReadResult(*comment);
  }
  DspMessages parsed = simulator::ParseDspMessages(
      reinterpret_cast<const unsigned char*>(block.bytes().data()) + kData, captured);
  delivery.messages = std::move(parsed.messages);
  for (DspMessage& message : delivery.messages) message.offset += delivery.offset;
  delivery.damage = std::move(parsed.damage);
  if (delivery.damage) delivery.damage->offset += delivery.offset;
  if (captured < block.U32(24) && !delivery.damage) {
    delivery.damage = {delivery.offset + captured, "only " + std::to_string(captured) + " of " +
                                                       std::to_string(block.U32(24)) +
                                                       " bytes were captured"};
  }
  delivery.may_be_cut = delivery.damage.has_value();
  handler(delivery);
}

uint32_t NativeU32(std::string_view bytes, size_t at) {
  uint32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof(value));
  return value;
}

template <typename T>
void Append(std::string& bytes, T value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

void AppendOption(std::string& body, uint16_t code, std::string_view value) {
  Append(body, code);
  Append(body, static_cast<uint16_t>(value.size()));
  body += value;
  body.resize(Padded(body.size()));
}

std::string MakeBlock(uint32_t type, std::string body) {
  body.resize(Padded(body.size()));
  const auto length = static_cast<uint32_t>(body.size() + 12);
  std::string block;
  Append(block, type);
  Append(block, length);
  block += body;
  Append(block, length);
  return block;
}

// A section and its one interface.
std::string PcapngHead() {
  std::string section;
  Append(section, kByteOrderMagic);
  Append(section, uint16_t{1});  // version 1.0
  Append(section, uint16_t{0});
  Append(section, int64_t{-1});  // of a length that is not known
  std::string interface;
  Append(interface, kUserLinkType);
  Append(interface, uint16_t{0});
  Append(interface, uint32_t{0});  // no limit
  AppendOption(interface, kNameOption, "tavi-dsp");
  AppendOption(interface, kResolutionOption, "\x06");  // microseconds
  AppendOption(interface, 0, "");
  return MakeBlock(kSectionBlock, section) + MakeBlock(kInterfaceBlock, interface);
}

// The size of the message that `bytes` begin with; 0 when that is none. It need not be there in
// full.
size_t MessageSize(std::string_view bytes) {
  if (bytes.size() < kHeaderSize) return 0;
  const auto type = static_cast<int32_t>(NativeU32(bytes, 0));
  const uint32_t size = NativeU32(bytes, 4);
  if (type == simulator::kModuleStatusMessage) {
    const bool is_status = size == 4 && bytes.size() >= 12 && NativeU32(bytes, 8) <= 1;
    return is_status ? kHeaderSize + size : 0;
  }
  const bool is_response = type == simulator::kLeftMessage || type == simulator::kRightMessage;
  if (!is_response || size == 0 || size % 8 != 0 || size > kLargestPayload) return 0;
  return kHeaderSize + size;
}

// Why no message begins here, of which MessageSize knows that none does. `parsed` is of as much as
// a message of the least size has.
std::string ReasonOf(std::string_view head, const DspMessages& parsed) {
  if (head.size() < kHeaderSize + 4) {
    return parsed.damage ? parsed.damage->reason : "no message begins here";
  }
  const auto type = static_cast<int32_t>(NativeU32(head, 0));
  if (type != simulator::kModuleStatusMessage && type != simulator::kLeftMessage &&
      type != simulator::kRightMessage) {
    return "unknown message type " + std::to_string(type);
  }
  const uint32_t size = NativeU32(head, 4);
  if (type == simulator::kModuleStatusMessage && size == 4) {
    return "a status of " + std::to_string(NativeU32(head, 8)) + ", which is neither 0 nor 1";
  }
  return "a payload of " + Count(size, "byte") + ", which no message of the type " +
         std::to_string(type) + " has";
}

}  // namespace

bool LooksLikePcapng(std::string_view bytes) {
  if (bytes.size() < 12 || NativeU32(bytes, 0) != kSectionBlock) return false;
  const uint32_t magic = NativeU32(bytes, 8);
  return magic == kByteOrderMagic || magic == __builtin_bswap32(kByteOrderMagic);
}

bool LooksLikeMessages(std::string_view bytes) { return MessageSize(bytes) > 0; }

std::optional<Damage> ReadPcapng(InputStream& stream, const DeliveryHandler& handler) {
  std::vector<Interface> interfaces;
  bool is_swapped = false;
  for (;;) {
    const uint64_t offset = stream.offset();
    std::string_view head = stream.Peek(12);
    if (head.empty()) return std::nullopt;
    if (LooksLikePcapng(head)) {
      is_swapped = NativeU32(head, 8) != kByteOrderMagic;
      interfaces.clear();
    }
    const uint32_t type = BlockBytes(head, is_swapped).U32(0);
    const uint32_t length = BlockBytes(head, is_swapped).U32(4);
    if (head.size() < 12) return Damage{offset, "the file ends within a block"};
    if (length < 12 || length % 4 != 0 || length > kLargestBlock) {
      return Damage{offset, "no block of a packet capture begins here"};
    }
    const std::string_view bytes = stream.Peek(length);
    if (bytes.size() < length) return Damage{offset, "the file ends within a block"};
    const BlockBytes block(bytes, is_swapped);
    if (block.U32(length - 4) != length) {
      return Damage{offset, "a block whose two lengths differ"};
    }
    if (type == kInterfaceBlock) {
      interfaces.push_back(ReadInterface(block));
    } else if (type == kPacketBlock) {
      TakePacket(block, interfaces, offset, handler);
    } else if (type == kSimplePacketBlock) {
      return Damage{offset, "a packet without a time, which no tool of ours writes"};
    }
    stream.Skip(length);
  }
}

std::optional<Damage> ReadMessages(InputStream& stream, const DeliveryHandler& handler) {
  CapturedDelivery delivery;  // without messages while none is begun
  bool is_first = true;
  const auto end_delivery = [&](bool is_last) {
    delivery.may_be_cut = is_first || is_last;
    if (!delivery.messages.empty()) {
      handler(delivery);
      is_first = false;
    }
    delivery = CapturedDelivery();
  };
  for (;;) {
    const uint64_t offset = stream.offset();
    const std::string_view head = stream.Peek(kHeaderSize + 4);
    if (head.empty()) {
      end_delivery(true);
      return std::nullopt;
    }
    const size_t size = MessageSize(head);
    const std::string_view bytes = stream.Peek(size == 0 ? head.size() : size);
    DspMessages parsed = simulator::ParseDspMessages(
        reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    if (size == 0 || bytes.size() < size || parsed.damage) {
      end_delivery(true);
      return Damage{offset, size == 0 ? ReasonOf(bytes, parsed) : parsed.damage->reason};
    }
    DspMessage& message = parsed.messages.front();
    const auto is_of_another = [&message](const DspMessage& other) {
      return !message.is_response() || !other.is_response() || other.type == message.type;
    };
    if (std::any_of(delivery.messages.begin(), delivery.messages.end(), is_of_another)) {
      end_delivery(false);
    }
    if (delivery.messages.empty()) delivery.offset = offset;
    delivery.size += size;
    message.offset = offset;
    delivery.messages.push_back(std::move(message));
    stream.Skip(size);
  }
}

CaptureFormat CaptureFormatOf(const std::string& path) {
  constexpr std::string_view kEnding = ".pcapng";
  const bool is_pcapng = path.size() >= kEnding.size() &&
                         path.compare(path.size() - kEnding.size(), kEnding.size(), kEnding) == 0;
  return is_pcapng ? CaptureFormat::kPcapng : CaptureFormat::kBytes;
}

std::string CaptureHead(CaptureFormat format) {
  return format == CaptureFormat::kPcapng ? PcapngHead() : "";
}

std::string CaptureBytes(const simulator::DspWrite& write, CaptureFormat format,
                         std::chrono::microseconds delivered) {
  std::string bytes(write.bytes.begin(), write.bytes.end());
  if (format == CaptureFormat::kBytes) return bytes;
  const int64_t time = delivered.count();
  std::string packet;
  Append(packet, uint32_t{0});
  Append(packet, static_cast<uint32_t>(static_cast<uint64_t>(time) >> 32));
  Append(packet, static_cast<uint32_t>(time));
  Append(packet, static_cast<uint32_t>(bytes.size()));
  Append(packet, static_cast<uint32_t>(bytes.size()));
  packet += bytes;
  packet.resize(Padded(packet.size()));
  AppendOption(packet, kCommentOption, std::string(kResultComment) + std::to_string(write.result));
  AppendOption(packet, 0, "");
  return MakeBlock(kPacketBlock, packet);
}

}  // namespace brelmo::tavi::tools
