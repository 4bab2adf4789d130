#include "diff/diff.h"

#include <string>
#include <vector>

#include "console/input.h"
#include "diff/diff_text.h"

namespace brelmo::tavi::tools {

namespace {

// Each response of the capture against the nearest that the configuration has for the channel.
std::vector<CapturedDiff> CompareCapture(const SideCapture& capture, const SideConfig& config,
                                         bool is_capture_old, const DiffLimits& limits) {
  std::vector<CapturedDiff> diffs;
  for (size_t channel = 0; channel < 2; ++channel) {
    for (const SideChannel& sent : capture.responses[channel]) {
      CapturedDiff nearest;
      nearest.channel = channel;
      bool is_first = true;
      for (size_t number = 0; number < config.cases.size(); ++number) {
        const SideChannel& candidate = config.cases[number].channels[channel];
        const ChannelDiff diff = is_capture_old ? CompareChannels(sent, candidate, limits)
                                                : CompareChannels(candidate, sent, limits);
        const auto distance = [](const ChannelDiff& of) {
          constexpr double kFar = 1e9;
          if (of.difference) return of.difference->deviation_db;
          return of.is_same ? 0.0 : kFar;
        };
        if (!is_first && distance(diff) >= distance(nearest.diff)) continue;
        is_first = false;
        nearest.case_number = number;
        nearest.file = candidate.file;
        nearest.diff = diff;
      }
      if (is_first) nearest.diff = {false, "the configuration has no case", std::nullopt, ""};
      diffs.push_back(std::move(nearest));
    }
  }
  return diffs;
}

}  // namespace

bool Diff(const DiffOptions& options) {
  const Side old_side = ReadSide(options.old_side, options.limits.rate);
  const Side new_side = ReadSide(options.new_side, options.limits.rate);
  const auto* const old_config = std::get_if<SideConfig>(&old_side);
  const auto* const new_config = std::get_if<SideConfig>(&new_side);
  if (old_config != nullptr && new_config != nullptr) {
    const ConfigDiff diff = CompareConfigs(*old_config, *new_config, options.limits);
    PutConfigDiff(diff, options.is_json);
    return diff.is_same;
  }
  const auto* const old_response = std::get_if<SideResponse>(&old_side);
  const auto* const new_response = std::get_if<SideResponse>(&new_side);
  if (old_response != nullptr && new_response != nullptr) {
    ChannelDiff diff;
    if (old_response->bins != new_response->bins) {
      diff.difference =
          CompareResponses(old_response->bins, new_response->bins, options.limits.rate);
      diff.is_same = diff.difference->deviation_db <= options.limits.tolerance_db;
    }
    PutResponseDiff(diff, options.is_json);
    return diff.is_same;
  }
  const auto* const old_capture = std::get_if<SideCapture>(&old_side);
  const auto* const new_capture = std::get_if<SideCapture>(&new_side);
  const SideCapture* const capture = old_capture != nullptr ? old_capture : new_capture;
  const SideConfig* const config = old_config != nullptr ? old_config : new_config;
  if (capture != nullptr && config != nullptr) {
    const auto diffs = CompareCapture(*capture, *config, old_capture != nullptr, options.limits);
    PutCaptureDiff(diffs, options.is_json);
    bool is_same = true;
    for (const CapturedDiff& diff : diffs) is_same = is_same && diff.diff.is_same;
    return is_same;
  }
  throw InputError(options.old_side.path + " and " + options.new_side.path +
                   " cannot be compared: name two configurations, two responses, or a capture and "
                   "a configuration");
}

}  // namespace brelmo::tavi::tools
