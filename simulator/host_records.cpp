#include "host_records.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace brelmo::tavi::simulator {

namespace {

constexpr unsigned char kFiller = 0xA5;

}  // namespace

DeviceRecord::DeviceRecord() : bytes_(kSize, kFiller) {
  static_assert(HAL_TUNING_ENTRY_OFFSET + sizeof(hal_tuning_entry_t) <= kSize);
  SetTuningEntry(nullptr);
}

void DeviceRecord::SetTuningEntry(hal_tuning_entry_t entry) {
  std::memcpy(bytes_.data() + HAL_TUNING_ENTRY_OFFSET, &entry, sizeof(entry));
}

bool DeviceRecord::IsUntouched() {
  const auto begin_of_entry = bytes_.begin() + HAL_TUNING_ENTRY_OFFSET;
  const auto end_of_entry = begin_of_entry + sizeof(hal_tuning_entry_t);
  const auto is_filler = [](unsigned char byte) { return byte == kFiller; };
  if (std::all_of(bytes_.begin(), begin_of_entry, is_filler) &&
      std::all_of(end_of_entry, bytes_.end(), is_filler)) {
    return true;
  }
  std::fill(bytes_.begin(), begin_of_entry, kFiller);
  std::fill(end_of_entry, bytes_.end(), kFiller);
  return false;
}

UsecaseRecord::UsecaseRecord(uint32_t value) {
  std::fill(std::begin(bytes_), std::end(bytes_), kFiller);
  std::memcpy(bytes_ + HAL_USECASE_VALUE_OFFSET, &value, sizeof(value));
}

}  // namespace brelmo::tavi::simulator
