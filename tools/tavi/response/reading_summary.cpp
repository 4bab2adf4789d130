#include "response/reading_summary.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

nlohmann::ordered_json TextOrNull(const std::string& text) {
  return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

// A few names of a list.
std::vector<std::string> FirstOf(std::vector<std::string> names) {
  constexpr size_t kMost = 6;
  if (names.size() <= kMost) return names;
  const size_t more = names.size() - kMost;
  names.resize(kMost);
  names.push_back(std::to_string(more) + " more");
  return names;
}

std::string TableText(const ReadingSummary& summary) {
  std::string text = "; " + summary.encoding + ", " + summary.separator + " as separator, " +
                     (summary.decimal_sign == "none" ? "no" : summary.decimal_sign + " as") +
                     " decimal sign";
  if (!summary.thousands.empty()) text += ", " + summary.thousands + " in thousands";
  if (!summary.columns.empty()) {
    text += "; columns " + Enumerate(summary.columns);
    if (!summary.unused_columns.empty())
      text += ", not " + Enumerate(FirstOf(summary.unused_columns));
  }
  text += "; " + Count(summary.comment_lines, "comment line") + ", " +
          Count(summary.header_lines, "header line");
  return text;
}

std::string ImpulseSummary(const ReadingSummary& summary) {
  std::string text =
      "; impulse response, " + summary.format + ", " + Format("%.10g Hz", summary.rate_hz);
  if (summary.channels > 1) {
    text +=
        ", channel " + std::to_string(summary.channel) + " of " + std::to_string(summary.channels);
  }
  text += ", from sample " + std::to_string(summary.start_sample);
  text += summary.window_ms > 0.0 ? Format(", window of %g ms", summary.window_ms) : ", no window";
  return text;
}

}  // namespace

std::string SummaryText(const ReadingSummary& summary) {
  std::string text = Count(summary.points, summary.is_impulse ? "sample" : "point") +
                     Format(", %.6g", summary.from_hz) + Format(" to %.6g Hz", summary.to_hz);
  text += summary.is_impulse ? ImpulseSummary(summary) : TableText(summary);
  text += summary.has_phase ? "; with phase" : "; without phase";
  if (summary.delay_seconds != 0.0) {
    text += Format(", delay of %.3f ms removed", summary.delay_seconds * 1000.0);
  }
  return text;
}

nlohmann::ordered_json SummaryToJson(const ReadingSummary& summary) {
  using Json = nlohmann::ordered_json;
  Json object = {{"file", Printable(summary.file)},
                 {"kind", summary.is_impulse ? "impulse-response" : "response"},
                 {"points", summary.points},
                 {"from_hz", summary.from_hz},
                 {"to_hz", summary.to_hz},
                 {"has_phase", summary.has_phase},
                 {"delay_seconds", summary.delay_seconds}};
  object["encoding"] = TextOrNull(summary.encoding);
  object["separator"] = TextOrNull(summary.separator);
  object["decimal_sign"] = TextOrNull(summary.decimal_sign);
  object["thousands"] = TextOrNull(summary.thousands);
  object["columns"] = summary.columns.empty() ? Json() : Json(summary.columns);
  object["unused_columns"] = summary.columns.empty() ? Json() : Json(summary.unused_columns);
  object["format"] = TextOrNull(summary.format);
  object["rate_hz"] = summary.is_impulse ? Json(summary.rate_hz) : Json();
  object["channel"] = summary.channel > 0 ? Json(summary.channel) : Json();
  object["start_sample"] = summary.is_impulse ? Json(summary.start_sample) : Json();
  object["window_ms"] = summary.window_ms > 0.0 ? Json(summary.window_ms) : Json();
  return object;
}

}  // namespace brelmo::tavi::tools
