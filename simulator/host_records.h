// The host's own records, which hal_audio_platform.h leaves open. What surrounds the field that the
// module may use is filled with a pattern: reading it gives nonsense, writing it is noticed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "hal_audio_platform.h"

namespace brelmo::tavi::simulator {

class DeviceRecord {
 public:
  // In bytes; longer than any host's.
  static constexpr size_t kSize = 8192;

  // Its tuning entry is null.
  DeviceRecord();

  hal_audio_device* get() { return reinterpret_cast<hal_audio_device*>(bytes_.data()); }
  const hal_audio_device* get() const {
    return reinterpret_cast<const hal_audio_device*>(bytes_.data());
  }
  // Only while the module is not called.
  void SetTuningEntry(hal_tuning_entry_t entry);
  // Whether only the tuning entry was written to since the last call.
  bool IsUntouched();

 private:
  std::vector<unsigned char> bytes_;
};

class UsecaseRecord {
 public:
  explicit UsecaseRecord(uint32_t value);

  usecase* get() { return reinterpret_cast<usecase*>(bytes_); }

 private:
  static constexpr size_t kSize = HAL_USECASE_VALUE_OFFSET + sizeof(uint32_t) + 48;
  alignas(std::max_align_t) unsigned char bytes_[kSize];
};

}  // namespace brelmo::tavi::simulator
