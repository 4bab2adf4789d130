// Impulse responses as files hold them: audio, or text with a sample a line.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/finding.h"

namespace brelmo::tavi::tools {

struct ImpulseSamples {
  std::vector<double> samples;  // of one channel; full scale of whole numbers is 1
  double rate_hz = 0.0;
  std::optional<double> start_seconds;  // when the first sample is played, where the file tells
  std::string format;                   // "WAV, 24 bit", "text"
  size_t channel = 0;                   // counted from 1; 0 in text
  size_t channels = 0;
  bool is_cut = false;  // it has fewer samples than it states
};

struct ImpulseResult {
  std::optional<ImpulseSamples> impulse;  // empty when a finding is an error
  std::vector<Finding> findings;
};

constexpr size_t kMaxImpulseSamples = size_t{1} << 23U;

// Whether the content begins as a file of WAV, AIFF or FLAC does.
bool IsAudio(std::string_view bytes);
// `channel` is counted from 1; a file of several needs one.
ImpulseResult ReadImpulseAudio(const std::string& file, std::string_view bytes,
                               std::optional<size_t> channel);

// Whether the first line without a comment is a `VALUE // meaning`.
bool IsImpulseText(std::string_view text);
// Reads such lines and the samples behind them. One of the lines has to tell the sample interval.
ImpulseResult ReadImpulseText(const std::string& file, std::string_view text);

}  // namespace brelmo::tavi::tools
