#include "diff/diff_text.h"

#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "check/known_names.h"
#include "check/posture_text.h"
#include "console/json_text.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "diff/diff_json.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kDoubtful = 0.5;

std::string GainText(const GainDifference& gain) {
  return Format("%+.2f dB at %.0f Hz, %.2f dB rms", gain.largest_db, gain.largest_hz, gain.rms_db);
}

// Lines for one channel; `indent` before each.
std::string ChannelText(const ChannelDiff& diff, const std::string& indent) {
  std::string text;
  if (!diff.played_flat.empty()) {
    text = indent + "the " + diff.played_flat + " one is played flat, for want of a usable file\n";
  }
  if (!diff.difference) return diff.is_same ? "" : text + indent + diff.what + "\n";
  const ResponseDifference& difference = *diff.difference;
  if (diff.is_same) {
    return indent + Format("less than the tolerance: %.4f dB\n", difference.deviation_db);
  }
  text += indent + "300 to 8000 Hz: " + GainText(difference.speech) + "\n";
  text += indent + "all bins: " + GainText(difference.all) + "\n";
  text += indent + Format("level %+.2f dB; without it ", difference.level_db) +
          GainText(difference.remaining) + "\n";
  std::string time =
      Format("delay %+.2f samples, ", std::round(100.0 * difference.delay_samples) / 100.0 + 0.0);
  time += difference.is_inverted ? "the other way round" : "same polarity";
  if (difference.similarity < kDoubtful) time += ", both doubtful: they are hardly alike";
  return text + indent + time + "\n";
}

void Put(const Json& object) { std::printf("%s\n", JsonText(object, 2).c_str()); }

std::string TakenText(const std::optional<size_t>& number) {
  return number ? "case " + std::to_string(*number) : "no case";
}

void PutList(const std::string& title, const std::vector<std::string>& lines, bool is_colour) {
  if (lines.empty()) return;
  Print(is_colour, colour::kBold, title + "\n");
  for (const std::string& line : lines) Print(false, "", "    " + line + "\n");
}

void PutVerdict(bool is_same, const std::string& same, const std::string& differs) {
  Print(IsColourWanted(), is_same ? colour::kGreen : colour::kYellow,
        (is_same ? same : differs) + "\n");
}

}  // namespace

void PutConfigDiff(const ConfigDiff& diff, bool is_json) {
  if (is_json) return Put(ToJson(diff));
  const bool is_colour = IsColourWanted();
  PutList("rules", diff.rules, is_colour);
  std::vector<std::string> taken;
  for (const PostureDiff& posture : diff.postures) {
    if (!posture.is_other_case) continue;
    taken.push_back(DescribePostures(posture.postures) + ": " + TakenText(posture.new_case) +
                    " instead of " + std::string(posture.old_case ? "" : "none") +
                    (posture.old_case ? std::to_string(*posture.old_case) : "") +
                    (posture.is_alternate ? ", by every other update" : "") +
                    (posture.is_same_sound ? ", which sends the same" : ""));
  }
  PutList("another case is taken", taken, is_colour);
  bool is_first = true;
  for (const PostureDiff& posture : diff.postures) {
    if (!posture.old_case || !posture.new_case) continue;
    std::string text;
    for (size_t channel = 0; channel < 2; ++channel) {
      const std::string lines = ChannelText(posture.channels[channel], "            ");
      if (!lines.empty()) text += std::string("        ") + kChannelKeys[channel] + "\n" + lines;
    }
    if (text.empty()) continue;
    if (is_first) Print(is_colour, colour::kBold, "what is sent\n");
    is_first = false;
    Print(false, "",
          "    " + TakenText(posture.new_case) + ", " + DescribePostures(posture.postures) + "\n" +
              text);
  }
  PutList("only text, which counts for nothing", diff.only_text, is_colour);
  PutVerdict(diff.is_same, "the DSP is sent the same in every posture",
             "the DSP is not sent the same");
}

void PutResponseDiff(const ChannelDiff& diff, bool is_json) {
  if (is_json) return Put(ToJson(diff));
  Print(false, "", ChannelText(diff, "    "));
  PutVerdict(diff.is_same, "the responses are the same", "the responses differ");
}

void PutCaptureDiff(const std::vector<CapturedDiff>& diffs, bool is_json) {
  Json array = Json::array();
  bool is_same = true;
  for (const CapturedDiff& captured : diffs) {
    is_same = is_same && captured.diff.is_same;
    if (is_json) {
      Json object = {{"channel", kChannelKeys[captured.channel]},
                     {"nearest_case", captured.case_number ? Json(*captured.case_number) : Json()},
                     {"file", captured.file}};
      object.update(ToJson(captured.diff));
      array.push_back(std::move(object));
      continue;
    }
    std::string text = std::string("a response for the ") + kChannelKeys[captured.channel] +
                       " channel is " + (captured.diff.is_same ? "" : "none of the configuration");
    if (captured.case_number) {
      text += std::string(captured.diff.is_same ? "that of " : "; nearest is that of ") +
              TakenText(captured.case_number) + ", " + Quote(captured.file);
    }
    Print(false, "", text + "\n" + ChannelText(captured.diff, "    "));
  }
  if (is_json) return Put({{"same", is_same}, {"responses", array}});
  PutVerdict(is_same, "every response of the capture is one of the configuration",
             "not every response of the capture is one of the configuration");
}

}  // namespace brelmo::tavi::tools
