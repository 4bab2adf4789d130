#include "report/against.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "check/known_names.h"
#include "check/tuning_files.h"
#include "console/input.h"
#include "console/wording.h"
#include "data_folder.h"
#include "diff/diff_json.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

bool IsSamePosture(const Posture& a, const Posture& b) {
  return a.hinge_angle == b.hinge_angle && a.rotation == b.rotation;
}

std::vector<PostureChange> ChangesOf(const ConfigDiff& diff,
                                     const std::vector<PostureResult>& postures) {
  std::vector<PostureChange> changes(postures.size());
  for (const PostureDiff& difference : diff.postures) {
    // Both have the postures in the same order.
    size_t at = 0;
    for (const Posture& posture : difference.postures) {
      while (!IsSamePosture(postures[at].posture, posture)) ++at;
      changes[at].is_other_case = changes[at].is_other_case || difference.is_other_case;
      changes[at].is_other_sound = changes[at].is_other_sound || !difference.is_same_sound;
    }
  }
  return changes;
}

size_t CountChannels(const ConfigDiff& diff) {
  std::set<std::pair<size_t, size_t>> channels;
  for (const PostureDiff& difference : diff.postures) {
    for (size_t channel = 0; difference.new_case && channel < kChannelKeys.size(); ++channel) {
      if (!difference.old_case || !difference.channels[channel].is_same) {
        channels.insert({*difference.new_case, channel});
      }
    }
  }
  return channels.size();
}

Json CasesToJson(const SideConfig& config, double rate, ResponseData& responses) {
  Json array = Json::array();
  for (const SideCase& a_case : config.cases) {
    Json outputs = Json::array();
    for (size_t i = 0; i < kChannelKeys.size(); ++i) {
      const SideChannel& channel = a_case.channels[i];
      outputs.push_back(
          {{"channel", kChannelKeys[i]},
           {"file", channel.file},
           {"state", StateOfOutput(channel.is_flat, channel.data)},
           {"response", channel.data.empty() ? Json() : Json(responses.Add(channel.data))}});
    }
    array.push_back({{"number", array.size()},
                     {"text", a_case.text},
                     {"is_in_force", true},
                     {"conditions", a_case.conditions},
                     {"outputs", std::move(outputs)},
                     {"pair", PairToJson(a_case.channels[0].data, a_case.channels[1].data, rate)}});
  }
  return array;
}

struct CasePair {
  size_t new_case;
  size_t old_case;
  bool is_same_case;
};

// Of each new case the old one that it was first, then those in whose postures it is taken.
std::vector<CasePair> PairsOf(const Against& against) {
  std::vector<CasePair> pairs;
  std::set<std::pair<size_t, size_t>> known;
  const auto add = [&pairs, &known](size_t now, size_t then, bool is_same_case) {
    if (known.insert({now, then}).second) pairs.push_back({now, then, is_same_case});
  };
  const auto& old_of = against.diff.old_of;
  for (size_t i = 0; i < old_of.size(); ++i) {
    if (old_of[i]) add(i, *old_of[i], true);
  }
  for (size_t i = 0; i < against.new_config.postures.size(); ++i) {
    const PostureResult& now = against.new_config.postures[i];
    const PostureResult& then = against.old_config.postures[i];
    for (const auto& taken : {now.taken, now.alternate}) {
      for (const auto& old_taken : {then.taken, then.alternate}) {
        if (taken && old_taken) add(*taken, *old_taken, false);
      }
    }
  }
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const CasePair& a, const CasePair& b) { return a.new_case < b.new_case; });
  return pairs;
}

Json PairsToJson(const Against& against) {
  Json array = Json::array();
  for (const CasePair& pair : PairsOf(against)) {
    Json object = {{"new_case", pair.new_case},
                   {"old_case", pair.old_case},
                   {"is_same_case", pair.is_same_case}};
    for (size_t i = 0; i < kChannelKeys.size(); ++i) {
      object[kChannelKeys[i]] =
          ToJson(CompareChannels(against.old_config.cases[pair.old_case].channels[i],
                                 against.new_config.cases[pair.new_case].channels[i],
                                 {/*tolerance_db=*/0.0, against.rate}));
    }
    array.push_back(std::move(object));
  }
  return array;
}

size_t CountWhere(const Against& against, bool PostureChange::*is_wanted) {
  return static_cast<size_t>(
      std::count_if(against.changes.begin(), against.changes.end(),
                    [is_wanted](const PostureChange& change) { return change.*is_wanted; }));
}

}  // namespace

std::vector<InputFile> Against::inputs() const {
  std::vector<InputFile> files = {{old_config.path, "the old configuration"}};
  for (InputFile& file :
       DataFileInputs(old_config.text, old_config.data_root, "the old configuration")) {
    files.push_back(std::move(file));
  }
  return files;
}

std::string Against::Summary() const {
  const size_t other_cases = CountWhere(*this, &PostureChange::is_other_case);
  const size_t other_sounds = CountWhere(*this, &PostureChange::is_other_sound);
  if (other_cases == 0 && other_sounds == 0) return "the DSP is sent the same in every posture";
  const std::string of_all = " of " + Count(changes.size(), "posture");
  std::string text = "another case is taken in " + std::to_string(other_cases) + of_all +
                     ", something else is sent in " + std::to_string(other_sounds);
  if (channels > 0) {
    text += "; " + Count(channels, "channel") + (channels == 1 ? " differs" : " differ");
  }
  return text;
}

Against ReadAgainst(const SideOptions& old_side, const std::string& text,
                    const std::string& data_root, double rate) {
  Side side = ReadSide(old_side, rate);
  auto* const old_config = std::get_if<SideConfig>(&side);
  if (old_config == nullptr) {
    throw InputError(old_side.path +
                     ": is no configuration, which a report can be laid against; name one, or a "
                     "folder of tavi build (tavi diff compares single responses)");
  }
  Against against;
  against.old_config = std::move(*old_config);
  against.new_config = ReadSideConfig(text, data_root);
  against.rate = rate;
  against.diff =
      CompareConfigs(against.old_config, against.new_config, {/*tolerance_db=*/0.0, rate});
  against.changes = ChangesOf(against.diff, against.new_config.postures);
  against.channels = CountChannels(against.diff);
  return against;
}

Json AgainstToJson(const Against& against, ResponseData& responses) {
  const SideConfig& old_config = against.old_config;
  return {{"name", old_config.path},
          {"sha256", old_config.sha256},
          {"data_folder", old_config.data_root.empty() ? simulator::DataFolder::kDevicePath
                                                       : old_config.data_root},
          {"summary", against.Summary()},
          {"counts",
           {{"postures", against.changes.size()},
            {"other_case", CountWhere(against, &PostureChange::is_other_case)},
            {"other_sound", CountWhere(against, &PostureChange::is_other_sound)},
            {"channels", against.channels}}},
          {"cases", CasesToJson(old_config, against.rate, responses)},
          {"pairs", PairsToJson(against)},
          {"diff", ToJson(against.diff)}};
}

}  // namespace brelmo::tavi::tools
