// The keys of a case as log and dump print them, in an order of their own: the module's is that of
// a hash map and differs between C++ libraries.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

struct PostureKeys {
  // Index values; empty for a condition that the case does not have.
  std::optional<std::vector<int>> hinge;
  std::optional<std::vector<int>> rotation;

  bool operator==(const PostureKeys& other) const {
    return hinge == other.hinge && rotation == other.rotation;
  }
  bool operator<(const PostureKeys& other) const {
    return std::tie(hinge, rotation) < std::tie(other.hinge, other.rotation);
  }
};

PostureKeys ToPostureKeys(
    const audio::compensation::TelephonySpeakerCompensation::CaseKeys& case_keys);

// Takes "Name : HingeAngle, Supported Index: {0 1 }" from the beginning of `text` into `keys`;
// false when it is not there, or its condition is there already.
bool TakeKey(std::string_view& text, PostureKeys& keys);
// Takes "Case Keys : {...}"; empty when a part of it is missing.
std::optional<PostureKeys> TakeKeys(std::string_view& text);

// The two takers' tools. Takes `word` from the beginning of `text`; false when it is not there.
bool TakeWord(std::string_view& text, std::string_view word);
// Takes a decimal integer of 32 bits.
std::optional<int> TakeInt(std::string_view& text);

}  // namespace brelmo::tavi::tools
