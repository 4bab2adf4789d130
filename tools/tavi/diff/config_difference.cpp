#include "diff/config_difference.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "check/known_names.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::HingeAngleIndex;
using audio::compensation::ScreenRotationIndex;

// "hinge 0 to 44", "rotation 0 and 90".
std::string ConditionInWords(std::string_view name, const std::string& value) {
  std::vector<std::string> fields;
  for (size_t at = 0; at <= value.size();) {
    const size_t end = std::min(value.find(',', at), value.size());
    fields.push_back(Printable(value.substr(at, end - at)));
    at = end + 1;
  }
  if (name == HingeAngleIndex::kName) {
    return "hinge " + (fields.size() == 2 ? fields[0] + " to " + fields[1] : Enumerate(fields));
  }
  if (name == ScreenRotationIndex::kName) return "rotation " + Enumerate(fields);
  return Printable(name) + " " + Enumerate(fields);
}

std::string RulesInWords(const SideCase& a_case) {
  std::vector<std::string> conditions;
  for (const auto& [name, value] : a_case.conditions) {
    conditions.push_back(ConditionInWords(name, value));
  }
  return Enumerate(conditions);
}

std::string CaseText(size_t number) { return "case " + std::to_string(number); }

bool IsSameSound(const SideCase& a, const SideCase& b) {
  return IsSameData(a.channels[0].data, b.channels[0].data) &&
         IsSameData(a.channels[1].data, b.channels[1].data);
}

bool AreSameFiles(const SideCase& a, const SideCase& b) {
  return a.channels[0].file == b.channels[0].file && a.channels[1].file == b.channels[1].file;
}

// Which case of the one is which of the other.
struct Pairing {
  std::vector<std::optional<size_t>> new_of;
  std::vector<std::optional<size_t>> old_of;
};

// By rules and files, then by either, then by what is sent.
Pairing PairCases(const SideConfig& old_config, const SideConfig& new_config) {
  Pairing pairing;
  pairing.new_of.resize(old_config.cases.size());
  pairing.old_of.resize(new_config.cases.size());
  const std::vector<std::function<bool(const SideCase&, const SideCase&)>> rounds = {
      [](const auto& a, const auto& b) { return a.rules == b.rules && AreSameFiles(a, b); },
      [](const auto& a, const auto& b) { return a.rules == b.rules && IsSameSound(a, b); },
      [](const auto& a, const auto& b) { return AreSameFiles(a, b); },
      [](const auto& a, const auto& b) { return a.rules == b.rules; },
      [](const auto& a, const auto& b) { return IsSameSound(a, b); },
  };
  for (const auto& is_pair : rounds) {
    for (size_t i = 0; i < old_config.cases.size(); ++i) {
      // The same number first: of several that are alike none has moved.
      for (size_t step = 0; step <= new_config.cases.size() && !pairing.new_of[i]; ++step) {
        const size_t j = step == 0 ? i : step - 1;
        if (j >= new_config.cases.size() || pairing.old_of[j]) continue;
        if (!is_pair(old_config.cases[i], new_config.cases[j])) continue;
        pairing.new_of[i] = j;
        pairing.old_of[j] = i;
      }
    }
  }
  return pairing;
}

// The cases that are not among the most that kept their order.
std::vector<size_t> Moved(const Pairing& pairing) {
  const size_t count = pairing.new_of.size();
  std::vector<size_t> length(count, 0);
  std::vector<std::optional<size_t>> before(count);
  std::optional<size_t> last;
  for (size_t i = 0; i < count; ++i) {
    if (!pairing.new_of[i]) continue;
    length[i] = 1;
    for (size_t k = 0; k < i; ++k) {
      if (pairing.new_of[k] && *pairing.new_of[k] < *pairing.new_of[i] &&
          length[k] + 1 > length[i]) {
        length[i] = length[k] + 1;
        before[i] = k;
      }
    }
    if (!last || length[i] > length[*last]) last = i;
  }
  std::vector<bool> is_kept(count, false);
  for (; last; last = before[*last]) is_kept[*last] = true;
  std::vector<size_t> moved;
  for (size_t i = 0; i < count; ++i) {
    if (pairing.new_of[i] && !is_kept[i]) moved.push_back(i);
  }
  return moved;
}

void CompareRules(const SideConfig& old_config, const SideConfig& new_config,
                  const Pairing& pairing, ConfigDiff& diff) {
  const auto named = [](size_t i, size_t j) {
    return i == j ? CaseText(i) : CaseText(j) + " (was " + std::to_string(i) + ")";
  };
  for (size_t i = 0; i < old_config.cases.size(); ++i) {
    if (!pairing.new_of[i]) {
      diff.rules.push_back(CaseText(i) + " is removed: " + RulesInWords(old_config.cases[i]));
    }
  }
  for (size_t j = 0; j < new_config.cases.size(); ++j) {
    const SideCase& now = new_config.cases[j];
    if (!pairing.old_of[j]) {
      diff.rules.push_back(CaseText(j) + " is added: " + RulesInWords(now));
      continue;
    }
    const size_t i = *pairing.old_of[j];
    const SideCase& then = old_config.cases[i];
    if (then.rules != now.rules) {
      diff.rules.push_back(named(i, j) + ": " + RulesInWords(then) + " is now " +
                           RulesInWords(now));
      continue;
    }
    for (size_t channel = 0; channel < 2; ++channel) {
      const SideChannel& was = then.channels[channel];
      const SideChannel& is = now.channels[channel];
      if (was.file != is.file && IsSameData(was.data, is.data)) {
        diff.only_text.push_back(named(i, j) + ": the file of the " + kChannelKeys[channel] +
                                 " channel is " + Quote(is.file) + " instead of " +
                                 Quote(was.file) + ", and holds the same");
      }
    }
    if (then.text != now.text && AreSameFiles(then, now)) {
      diff.only_text.push_back(named(i, j) + ": the items are written in another way");
    }
  }
  for (const size_t i : Moved(pairing)) {
    diff.rules.push_back("case " + std::to_string(i) + " is moved to " +
                         std::to_string(*pairing.new_of[i]) + ": " +
                         RulesInWords(old_config.cases[i]));
  }
  const auto of_all = [](const SideConfig& config) {
    return std::to_string(config.cases.size()) + " of " + Count(config.written, "case");
  };
  const bool is_whole = old_config.cases.size() == old_config.written &&
                        new_config.cases.size() == new_config.written;
  if (!is_whole) {
    diff.rules.push_back("in force were " + of_all(old_config) + ", and are " + of_all(new_config) +
                         ": see tavi check");
  }
}

// What is taken then and now, and whether that is by every other update only.
using Taken = std::tuple<bool, std::optional<size_t>, std::optional<size_t>>;

std::map<Taken, std::vector<Posture>> GroupPostures(const SideConfig& old_config,
                                                    const SideConfig& new_config) {
  std::map<Taken, std::vector<Posture>> groups;
  for (size_t i = 0; i < old_config.postures.size(); ++i) {
    const PostureResult& then = old_config.postures[i];
    const PostureResult& now = new_config.postures[i];
    groups[{false, then.taken, now.taken}].push_back(then.posture);
    // Where updates alternate between two cases both are heard.
    if (then.alternate || now.alternate) {
      groups[{true, then.alternate ? then.alternate : then.taken,
              now.alternate ? now.alternate : now.taken}]
          .push_back(then.posture);
    }
  }
  return groups;
}

}  // namespace

ChannelDiff CompareChannels(const SideChannel& old_channel, const SideChannel& new_channel,
                            const DiffLimits& limits) {
  ChannelDiff diff;
  if (IsSameData(old_channel.data, new_channel.data)) return diff;
  diff.is_same = false;
  if (old_channel.is_flat != new_channel.is_flat) {
    diff.played_flat = new_channel.is_flat ? "new" : "old";
  }
  const auto old_bins = FilterOfData(old_channel.data);
  const auto new_bins = FilterOfData(new_channel.data);
  if (!old_bins || !new_bins) {
    const auto kind = [](const SideChannel& channel) {
      return channel.data.empty() ? "nothing" : Count(channel.data.size() / 2, "bin");
    };
    diff.what = kind(new_channel) + " instead of " + kind(old_channel);
    if (old_channel.data.size() == new_channel.data.size()) diff.what = "bins that are no numbers";
    return diff;
  }
  diff.difference = CompareResponses(*old_bins, *new_bins, limits.rate);
  diff.is_same = diff.difference->deviation_db <= limits.tolerance_db;
  return diff;
}

ConfigDiff CompareConfigs(const SideConfig& old_config, const SideConfig& new_config,
                          const DiffLimits& limits) {
  ConfigDiff diff;
  const Pairing pairing = PairCases(old_config, new_config);
  diff.old_of = pairing.old_of;
  CompareRules(old_config, new_config, pairing, diff);
  for (auto& [taken, postures] : GroupPostures(old_config, new_config)) {
    PostureDiff here;
    std::tie(here.is_alternate, here.old_case, here.new_case) = taken;
    here.postures = std::move(postures);
    // A case that is gone became none, and is another one all the same where none is taken.
    here.is_other_case = here.old_case.has_value() != here.new_case.has_value() ||
                         (here.old_case && pairing.new_of[*here.old_case] != here.new_case);
    here.is_same_sound = here.old_case.has_value() == here.new_case.has_value();
    for (size_t channel = 0; here.old_case && here.new_case && channel < 2; ++channel) {
      here.channels[channel] =
          CompareChannels(old_config.cases[*here.old_case].channels[channel],
                          new_config.cases[*here.new_case].channels[channel], limits);
      here.is_same_sound = here.is_same_sound && here.channels[channel].is_same;
    }
    diff.is_same = diff.is_same && here.is_same_sound;
    const bool is_within = here.channels[0].difference || here.channels[1].difference;
    if (here.is_other_case || !here.is_same_sound || is_within) {
      diff.postures.push_back(std::move(here));
    }
  }
  return diff;
}

}  // namespace brelmo::tavi::tools
