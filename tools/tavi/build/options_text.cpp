#include "build/options_text.h"

#include <algorithm>
#include <charconv>
#include <regex>

#include "console/wording.h"
#include "response/correction_text.h"

namespace brelmo::tavi::tools {

namespace {

std::string Text(double number) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof(text), number).ptr};
}

std::string Reading(const ReadOptions& reading) {
  std::string text;
  if (!reading.columns.empty()) text += ", column " + Enumerate(reading.columns);
  if (reading.channel) text += ", channel " + std::to_string(*reading.channel);
  if (reading.ir_start) text += ", ir_start " + std::to_string(*reading.ir_start);
  return text;
}

std::string LevelText(const DesignOptions& design) {
  switch (design.level) {
    case LevelRule::kMean:
      return "mean";
    case LevelRule::kPeak:
      return "peak";
    case LevelRule::kAbsolute:
      break;
  }
  return Text(design.level_db);
}

std::string Options(const FromMeasurement& from) {
  const DesignOptions& design = from.design;
  std::string text = "measured " + Quote(from.file) + ", target " + Quote(from.target) +
                     ", range " + Text(design.range.from_hz) + " to " + Text(design.range.to_hz) +
                     ", max_boost " + Text(design.max_boost_db) + ", max_cut " +
                     Text(design.max_cut_db) + ", smoothing " + Text(design.smoothing);
  if (design.regularisation_db) text += ", regularisation " + Text(*design.regularisation_db);
  text += std::string(", phase ") + PhaseName(design.phase) + ", taps " +
          std::to_string(design.taps) + ", level " + LevelText(design);
  if (!from.mask.empty()) {
    text += ", mask " + Quote(from.mask) + ", bands " + std::to_string(design.bands);
  }
  return text + Reading(from.reading);
}

std::string Options(const FromCorrection& from) {
  return "correction " + Quote(from.file) + ", phase " +
         (from.import.is_minimum_phase ? "minimum" : "file") + ", taps " +
         std::to_string(from.import.taps) + ", gain " + Text(from.import.gain_db) +
         (from.import.is_delay_removed ? ", remove_delay" : "") + Reading(from.reading);
}

std::string Options(const Filter& filter) {
  switch (filter.kind) {
    case FilterKind::kGain:
      return "gain " + Text(filter.db) + " dB";
    case FilterKind::kDelay:
      return "delay " + std::to_string(filter.samples);
    case FilterKind::kHighPass:
      return "high-pass " + Text(filter.hz) + " Hz q " + Text(filter.q);
    case FilterKind::kLowPass:
      return "low-pass " + Text(filter.hz) + " Hz q " + Text(filter.q);
    case FilterKind::kLowShelf:
      return "low-shelf " + Text(filter.hz) + " Hz " + Text(filter.db) + " dB q " + Text(filter.q);
    case FilterKind::kHighShelf:
      return "high-shelf " + Text(filter.hz) + " Hz " + Text(filter.db) + " dB q " + Text(filter.q);
    case FilterKind::kPeak:
      return "peak " + Text(filter.hz) + " Hz " + Text(filter.db) + " dB q " + Text(filter.q);
    case FilterKind::kAllPass:
      break;
  }
  return "all-pass " + Text(filter.hz) + " Hz q " + Text(filter.q);
}

std::string Options(const FromFilters& from) {
  std::vector<std::string> filters;
  for (const Filter& filter : from.chain) filters.push_back(Options(filter));
  return "filters" + (filters.empty() ? " none" : " " + Enumerate(filters));
}

std::string Options(const FromDataFile& from) { return "file " + Quote(from.file); }

}  // namespace

std::string OptionsText(const PostureSource& posture, size_t channel) {
  const auto is_measured = [](const ChannelSource& one) {
    return std::holds_alternative<FromMeasurement>(one.from);
  };
  std::string text =
      std::visit([](const auto& from) { return Options(from); }, posture.channels[channel].from);
  if (std::all_of(posture.channels.begin(), posture.channels.end(), is_measured)) {
    text += posture.is_pair_levelled ? ", pair together" : ", pair apart";
    if (posture.is_delay_matched) text += ", match_delay";
  }
  return text;
}

std::string InKeys(const std::string& text) {
  static const auto* const command = new std::regex("tavi (import|design) (?=--)");
  const std::string said = std::regex_replace(text, *command, "");
  const auto is_letter = [&said](size_t at) {
    return at < said.size() && said[at] >= 'a' && said[at] <= 'z';
  };
  std::string keys;
  for (size_t at = 0; at < said.size();) {
    // The name of a posture or of a file may have hyphens within.
    const bool is_word = at == 0 || said[at - 1] == ' ' || said[at - 1] == '(';
    if (!is_word || said.compare(at, 2, "--") != 0 || !is_letter(at + 2)) {
      keys += said[at++];
      continue;
    }
    for (at += 2; is_letter(at) || (at < said.size() && said[at] == '-'); ++at) {
      keys += said[at] == '-' ? '_' : said[at];
    }
  }
  return keys;
}

}  // namespace brelmo::tavi::tools
