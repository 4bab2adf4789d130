// Any bytes as a write to the DSP, or a capture of some: what the simulated DSP makes of them.
#include <cstdint>
#include <cstring>
#include <vector>

#include "dsp_message.h"
#include "fuzz_check.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::fuzz {

namespace {

using simulator::DspMessage;
using simulator::DspMessages;

void Check(const uint8_t* data, size_t size) {
  const DspMessages parsed = simulator::ParseDspMessages(data, size);
  // The messages are the bytes up to the damage, without a gap.
  std::vector<uint8_t> bytes;
  for (const DspMessage& message : parsed.messages) {
    FUZZ_CHECK(message.offset == bytes.size());
    const auto payload_size = static_cast<uint32_t>(message.payload.size());
    bytes.resize(bytes.size() + 8);
    std::memcpy(bytes.data() + message.offset, &message.type, 4);
    std::memcpy(bytes.data() + message.offset + 4, &payload_size, 4);
    bytes.insert(bytes.end(), message.payload.begin(), message.payload.end());
    if (message.is_response()) {
      FUZZ_CHECK(message.bin_count() > 0);
      FUZZ_CHECK(message.Response().size() == 2 * message.bin_count());
    } else {
      FUZZ_CHECK(message.type == simulator::kModuleStatusMessage);
      FUZZ_CHECK(payload_size == 4);
    }
  }
  FUZZ_CHECK(bytes.size() <= size && std::equal(bytes.begin(), bytes.end(), data));
  FUZZ_CHECK(parsed.damage.has_value() == (bytes.size() < size));
  if (parsed.damage) {
    FUZZ_CHECK(parsed.damage->offset == bytes.size());
    FUZZ_CHECK(!parsed.damage->reason.empty());
    FUZZ_CHECK(!simulator::ParseDspMessages(data, parsed.damage->offset).damage);
  }

  simulator::VirtualDsp dsp;
  FUZZ_CHECK(dsp.Receive(data, size).is_accepted());
  FUZZ_CHECK(dsp.state().module_active.has_value() || dsp.state().left || dsp.state().right ||
             parsed.messages.empty());
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check(data, size);
  return 0;
}
