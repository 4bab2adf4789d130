#include "capture/posture_keys.h"

#include <charconv>

#include "index.h"

namespace brelmo::tavi::tools {

using audio::compensation::HingeAngleIndex;
using audio::compensation::ScreenRotationIndex;

PostureKeys ToPostureKeys(
    const audio::compensation::TelephonySpeakerCompensation::CaseKeys& case_keys) {
  PostureKeys keys;
  for (const auto& key : case_keys) {
    (key.name == HingeAngleIndex::kName ? keys.hinge : keys.rotation) = key.supported_indices;
  }
  return keys;
}

bool TakeWord(std::string_view& text, std::string_view word) {
  if (text.substr(0, word.size()) != word) return false;
  text.remove_prefix(word.size());
  return true;
}

std::optional<int> TakeInt(std::string_view& text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return value;
}

bool TakeKey(std::string_view& text, PostureKeys& keys) {
  if (!TakeWord(text, "Name : ")) return false;
  std::optional<std::vector<int>>* values = nullptr;
  if (TakeWord(text, HingeAngleIndex::kName)) {
    values = &keys.hinge;
  } else if (TakeWord(text, ScreenRotationIndex::kName)) {
    values = &keys.rotation;
  }
  if (values == nullptr || values->has_value() || !TakeWord(text, ", Supported Index: {")) {
    return false;
  }
  values->emplace();
  while (!TakeWord(text, "}")) {
    const auto value = TakeInt(text);
    if (!value || !TakeWord(text, " ")) return false;
    (*values)->push_back(*value);
  }
  return true;
}

std::optional<PostureKeys> TakeKeys(std::string_view& text) {
  if (!TakeWord(text, "Case Keys : {")) return std::nullopt;
  PostureKeys keys;
  while (!TakeWord(text, "}")) {
    if (!TakeKey(text, keys) || !TakeWord(text, " ")) return std::nullopt;
  }
  return keys;
}

}  // namespace brelmo::tavi::tools
