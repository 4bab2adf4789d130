// Captures of what was written to the DSP: the bytes alone, back to back, or a pcapng file, which
// has a packet for each delivery.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "capture/input_stream.h"
#include "dsp_message.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::tools {

// One call of the tuning entry.
struct CapturedDelivery {
  uint64_t offset = 0;  // of its bytes in the file
  size_t size = 0;
  // A bare capture does not have these, and its borders are told by the messages: a status is a
  // delivery of its own, a channel is in each delivery once.
  std::optional<int64_t> time_us;  // since 1970, UTC
  std::optional<int> result;
  // What it holds may be a part of it: bare bytes begin or end with it, or make no sense there.
  bool may_be_cut = false;
  // Offsets are those in the file.
  std::vector<simulator::DspMessage> messages;
  std::optional<simulator::DspMessages::Damage> damage;
};

using DeliveryHandler = std::function<void(const CapturedDelivery&)>;

// What stands at the beginning of `bytes`.
bool LooksLikePcapng(std::string_view bytes);
bool LooksLikeMessages(std::string_view bytes);

// Each reads deliveries from where the stream stands, up to the file's end or to the first bytes
// that are no delivery. Returns what is wrong with those; empty at the file's end.
std::optional<simulator::DspMessages::Damage> ReadPcapng(InputStream& stream,
                                                         const DeliveryHandler& handler);
std::optional<simulator::DspMessages::Damage> ReadMessages(InputStream& stream,
                                                           const DeliveryHandler& handler);

// How a capture is stored.
enum class CaptureFormat { kBytes, kPcapng };

// kPcapng for a name that ends in ".pcapng".
CaptureFormat CaptureFormatOf(const std::string& path);
// What such a file begins with.
std::string CaptureHead(CaptureFormat format);
// A delivery in it; `delivered` since 1970, or since a run began.
std::string CaptureBytes(const simulator::DspWrite& write, CaptureFormat format,
                         std::chrono::microseconds delivered);

}  // namespace brelmo::tavi::tools
