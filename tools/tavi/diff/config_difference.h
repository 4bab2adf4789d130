// How one configuration differs from another: in its rules, in what is taken, in what is sent.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "check/posture_probe.h"
#include "diff/diff_side.h"
#include "diff/response_difference.h"

namespace brelmo::tavi::tools {

struct DiffLimits {
  double tolerance_db = 0.0;  // that a bin may deviate by and count as equal
  double rate = 48000.0;
};

// One channel of two cases. Neither when the two are not sent the same though no bins can be
// compared, for which `what` says why.
struct ChannelDiff {
  bool is_same = true;
  std::string what;
  std::optional<ResponseDifference> difference;
  std::string played_flat;  // "old" or "new": that one alone, for want of a usable file
};

ChannelDiff CompareChannels(const SideChannel& old_channel, const SideChannel& new_channel,
                            const DiffLimits& limits);

// Postures in which one case was taken and now another, or the same with another sound.
struct PostureDiff {
  std::optional<size_t> old_case;
  std::optional<size_t> new_case;
  bool is_other_case = false;
  bool is_alternate = false;  // by every other update, where two cases alternate
  bool is_same_sound = true;
  std::vector<Posture> postures;
  std::array<ChannelDiff, 2> channels;  // where both took a case
};

struct ConfigDiff {
  std::vector<std::string> rules;             // what changed of the cases, in words
  std::vector<PostureDiff> postures;          // those with a difference
  std::vector<std::string> only_text;         // what changes nothing that is sent
  bool is_same = true;                        // the DSP is sent the same in every posture
  std::vector<std::optional<size_t>> old_of;  // of each new case, which old one it was
};

ConfigDiff CompareConfigs(const SideConfig& old_config, const SideConfig& new_config,
                          const DiffLimits& limits);

}  // namespace brelmo::tavi::tools
