#define LOG_TAG "AHal::CompensationIndex"

#include "index.h"

#include <algorithm>

#include <android-base/logging.h>

namespace brelmo::tavi::audio::compensation {

bool HingeAngleIndex::UpdateDecisionRules(const std::vector<int>& values) {
  if (values.size() != 2) {
    LOG(ERROR) << __func__ << ": invalid data size " << values.size();
    return false;
  }
  const std::pair<int, int> range(values[0], values[1]);
  if (range.second > kMaxAngle || range.first < kMinAngle || range.first >= range.second) {
    LOG(ERROR) << __func__ << ": invalid range " << range.first << " ~ " << range.second;
    return false;
  }
  if (std::find(ranges_.begin(), ranges_.end(), range) == ranges_.end()) ranges_.push_back(range);
  return true;
}

std::optional<int> HingeAngleIndex::GetIndex(const std::vector<int>& values) const {
  if (values.size() != 1) return std::nullopt;
  const int angle = values[0];
  const auto range = std::find_if(ranges_.begin(), ranges_.end(), [angle](const auto& candidate) {
    return candidate.first <= angle && angle <= candidate.second;
  });
  if (range == ranges_.end()) return std::nullopt;
  return static_cast<int>(range - ranges_.begin());
}

std::string HingeAngleIndex::ToString() const {
  std::string text(kName);
  text += " {";
  for (size_t i = 0; i < ranges_.size(); ++i) {
    text += "[" + std::to_string(ranges_[i].first) + "~" + std::to_string(ranges_[i].second) +
            "]:" + std::to_string(i) + ", ";
  }
  text += "}";
  return text;
}

bool ScreenRotationIndex::UpdateDecisionRules(const std::vector<int>& values) {
  if (values.empty()) {
    LOG(ERROR) << __func__ << ": invalid input.";
    return false;
  }
  // The whole list is checked before any of it is stored: a refused rule adds nothing.
  for (const int value : values) {
    if (std::find(kSupportedRotations.begin(), kSupportedRotations.end(), value) ==
        kSupportedRotations.end()) {
      LOG(ERROR) << __func__ << ": invalid value found " << value;
      return false;
    }
  }
  for (const int value : values) {
    if (rotation_indices_.emplace(value, next_index_).second) ++next_index_;
  }
  return true;
}

std::optional<int> ScreenRotationIndex::GetIndex(const std::vector<int>& values) const {
  if (values.size() != 1) return std::nullopt;
  const auto entry = rotation_indices_.find(values[0]);
  if (entry == rotation_indices_.end()) return std::nullopt;
  return entry->second;
}

std::string ScreenRotationIndex::ToString() const {
  std::string text(kName);
  text += " {";
  // By index value: the map's own order is the C++ library's, and a dump should not depend on it.
  std::vector<int> rotations(rotation_indices_.size());
  for (const auto& [rotation, index] : rotation_indices_) rotations[index] = rotation;
  for (size_t i = 0; i < rotations.size(); ++i) {
    text += std::to_string(rotations[i]) + ":" + std::to_string(i) + ", ";
  }
  text += "}";
  return text;
}

}  // namespace brelmo::tavi::audio::compensation
