// Captures of what was written to the DSP: the bytes alone, back to back, or a pcapng file, which
// has a packet for each delivery.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
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
  bool has_border = false;
  // Offsets are those in the file.
  std::vector<simulator::DspMessage> messages;
  std::optional<simulator::DspMessages::Damage> damage;
};

using DeliveryHandler = std::function<void(CapturedDelivery&)>;

// What stands at the beginning of `bytes`.
bool LooksLikePcapng(std::string_view bytes);
bool LooksLikeMessages(std::string_view bytes);

// Each reads deliveries from where the stream stands up to what is none, and says why it ended
// there; none at the file's end.
std::optional<simulator::DspMessages::Damage> ReadPcapng(InputStream& stream,
                                                         const DeliveryHandler& handler);
std::optional<simulator::DspMessages::Damage> ReadMessages(InputStream& stream,
                                                           const DeliveryHandler& handler);

// Stores deliveries as they come. Not thread-safe.
class CaptureWriter {
 public:
  // pcapng for a name that ends in ".pcapng", else the bytes alone. Throws InputError.
  explicit CaptureWriter(const std::string& path);

  void Write(const simulator::DspWrite& write);
  // Everything so far is in the file.
  bool is_complete() const { return is_complete_; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void Put(const std::string& bytes);

  std::unique_ptr<std::FILE, CloseFile> file_;
  const bool is_pcapng_;
  bool is_complete_ = true;
};

}  // namespace brelmo::tavi::tools
