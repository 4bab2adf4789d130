#include "trial/host_match.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "direct_host.h"
#include "hal_audio_platform.h"
#include "host_event.h"
#include "host_records.h"
#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::DeviceRecord;
using simulator::DirectHost;

// ---- The device record --------------------------------------------------------------------------

// A tuning entry at every place of the record that can hold one, each of which knows its own.
constexpr size_t kEntries = DeviceRecord::kSize / sizeof(hal_tuning_entry_t);

size_t writes = 0;
size_t used_entry = 0;

template <size_t kNumber>
int Entry(hal_audio_device* /*device*/, int32_t /*code*/, int32_t /*sub_code*/,
          int32_t /*reserved*/, void* /*reserved_pointer*/, void* /*context*/, const void* /*data*/,
          int64_t /*size*/, int64_t /*reserved_1*/, int64_t /*reserved_2*/) {
  ++writes;
  used_entry = kNumber;
  return 0;
}

template <size_t... kNumbers>
std::array<hal_tuning_entry_t, kEntries> MakeEntries(std::index_sequence<kNumbers...> /*all*/) {
  return {Entry<kNumbers>...};
}

// ---- The use case's record ----------------------------------------------------------------------

// Records as long as any host may have them. Of a module that counts whatever use case comes, a
// stop of one is a write exactly when that one was started.
class UsecaseProbe {
 public:
  explicit UsecaseProbe(const DirectHost& host) : host_(host) {}

  // Every word is another use case.
  void Start() {
    for (size_t i = 0; i < words_.size(); ++i) words_[i] = UsecaseAt(i);
    Send(simulator::kUsecaseStarted);
  }

  // Where the module has read the one that it started. Tried first where this tavi has it: a module
  // that stops for any use case reads it there as far as can be told.
  std::optional<size_t> FindOffset() {
    std::vector<size_t> places = {HAL_USECASE_VALUE_OFFSET / sizeof(uint32_t)};
    for (size_t i = 0; i < words_.size(); ++i) places.push_back(i);
    for (const size_t place : places) {
      words_.fill(UsecaseAt(place));
      const size_t before = writes;
      Send(simulator::kUsecaseStopped);
      if (writes != before) return place * sizeof(uint32_t);
    }
    return std::nullopt;
  }

 private:
  static uint32_t UsecaseAt(size_t place) { return static_cast<uint32_t>(1000 + place); }

  void Send(int event) {
    const simulator::Registration& to = host_.registration();
    to.usecase_handler(event, reinterpret_cast<usecase*>(words_.data()), nullptr,
                       to.usecase_cookie);
  }

  const DirectHost& host_;
  std::array<uint32_t, 256> words_{};
};

std::string Differs(const char* what, size_t found, size_t own, const char* record) {
  return std::string(what) + " at byte " + std::to_string(found) + " of the " + record + ", not " +
         std::to_string(own);
}

}  // namespace

std::string FindOtherOffsets(const simulator::LoadedModule& module) {
  static const auto entries = MakeEntries(std::make_index_sequence<kEntries>());
  const simulator::LogCapture silence([](const simulator::LogLine& /*line*/) {});
  DirectHost host(module.descriptor(), [](const unsigned char*, size_t) { return 0; });
  std::memcpy(host.device(), entries.data(), sizeof(entries));
  if (host.Init("ScreenRotation:0|LeftChannel:none|RightChannel:none") != 0 ||
      host.registration().usecase_handler == nullptr) {
    return "";
  }
  host.Deliver(simulator::Announce(5));
  writes = 0;
  UsecaseProbe usecases(host);
  usecases.Start();
  if (writes == 0) return "";
  std::string text;
  const size_t entry_offset = used_entry * sizeof(hal_tuning_entry_t);
  if (entry_offset != HAL_TUNING_ENTRY_OFFSET) {
    text = Differs("the tuning entry", entry_offset, HAL_TUNING_ENTRY_OFFSET, "device record");
  }
  const std::optional<size_t> usecase_offset = usecases.FindOffset();
  if (usecase_offset && *usecase_offset != HAL_USECASE_VALUE_OFFSET) {
    if (!text.empty()) text += ", and ";
    text += Differs("the use case", *usecase_offset, HAL_USECASE_VALUE_OFFSET, "use-case record");
  }
  return text;
}

}  // namespace brelmo::tavi::tools
