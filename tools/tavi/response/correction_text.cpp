#include "response/correction_text.h"

#include <cmath>

#include <algorithm>
#include <vector>

#include "console/finding_json.h"
#include "console/json_number.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

std::string Line(const char* title, const std::string& text) {
  return Format("    %-12s", title) + text + "\n";
}

// To two decimals, and no negative 0.
double Rounded(double db) { return std::round(100.0 * db) / 100.0 + 0.0; }

std::string RangeText(Range range) { return Format("%.0f to %.0f Hz", range.from_hz, range.to_hz); }

// A share of the energy.
std::string ShareText(double db) {
  constexpr double kNothingDb = -150.0;  // what single precision leaves of nothing
  return db > kNothingDb ? Format("%.0f dB", db) : "none";
}

std::string BindingText(const Design& design, bool is_boost) {
  std::vector<std::string> ranges;
  for (const BindingLimit& limit : design.binding) {
    if (limit.is_boost == is_boost) ranges.push_back(RangeText(limit.range));
  }
  return ranges.empty() ? "binds nowhere" : "binds at " + Enumerate(ranges);
}

std::string FilterText(const FilterTime& time, const GainExtremes& gain) {
  std::string text =
      Line("gain", Format("%+.2f dB at %.0f Hz to %+.2f dB at %.0f Hz; a sample grows by %+.2f dB "
                          "at most (sum of |h|)",
                          Rounded(gain.highest_db), gain.highest_hz, Rounded(gain.lowest_db),
                          gain.lowest_hz, Rounded(time.worst_gain_db)));
  text += Line("length", Format("%zu samples hold all but -60 dB, from sample %d on; beyond the "
                                "first %zu: ",
                                time.arc_60db.length, time.arc_60db.start, kPlayedTaps) +
                             ShareText(time.beyond_taps_db));
  text +=
      Line("pre-ringing", ShareText(time.pre_ringing_db) + Format("; the peak is sample %zu, "
                                                                  "the centre of energy %.1f",
                                                                  time.peak, time.delay_samples));
  return text;
}

std::string MaskText(const Design& design, const std::string& name) {
  if (!design.mask_before || !design.mask_after) return "";
  return Line("mask",
              Format("%s: margin %+.2f dB before, %+.2f dB after; %.0f Hz binds below, %.0f "
                     "Hz above",
                     Printable(name).c_str(), design.mask_before->margin_db,
                     design.mask_after->margin_db, design.mask_after->lower_hz,
                     design.mask_after->upper_hz)) +
         Line("", "(a prediction of the shape, from loudspeaker and correction alone)");
}

Json MeasuredToJson(const ReadResult& read) {
  const ReadingSummary& summary = read.summary;
  Json object = {{"points", summary.points},
                 {"from_hz", summary.from_hz},
                 {"to_hz", summary.to_hz},
                 {"has_phase", summary.has_phase}};
  return object;
}

void PutFilter(const FilterTime& time, const GainExtremes& gain, Json& object) {
  object["max_boost_db"] = std::max(gain.highest_db, 0.0);
  object["max_boost_hz"] = gain.highest_hz;
  object["max_cut_db"] = ToJson(std::max(0.0, -gain.lowest_db));
  object["max_cut_hz"] = gain.lowest_hz;
  object["peak_gain_db"] = time.worst_gain_db;
  object["length_samples"] = time.arc_60db.length;
  object["start_sample"] = time.arc_60db.start;
  object["peak_sample"] = time.peak;
  object["delay_samples"] = time.delay_samples;
  object["beyond_257_db"] = ToJson(time.beyond_taps_db);
  object["pre_ringing_db"] = ToJson(time.pre_ringing_db);
}

}  // namespace

const char* PhaseName(CorrectionPhase phase) {
  switch (phase) {
    case CorrectionPhase::kMinimum:
      return "minimum";
    case CorrectionPhase::kLinear:
      return "linear";
    case CorrectionPhase::kExcess:
      break;
  }
  return "excess";
}

std::string DesignText(const Design& design, const DesignOptions& options) {
  std::string text = "corrects " + RangeText(design.corrected) +
                     Format(": %s phase, %zu taps at %.0f Hz\n", PhaseName(options.phase),
                            options.taps, options.rate);
  text += Line("deviation",
               Format("from the target %.2f dB rms, %.2f dB at most; with the correction %.2f dB "
                      "rms, %.2f dB at most",
                      design.before.rms_db, design.before.largest_db, design.after.rms_db,
                      design.after.largest_db));
  text += Line("", Format("(of the response smoothed over 1/%g octave, which is what is corrected)",
                          options.smoothing));
  text += Line("boost limit", BindingText(design, true));
  text += Line("cut limit", BindingText(design, false));
  text += FilterText(design.time, design.gain);
  if (options.mask) text += MaskText(design, options.mask->name);
  return text;
}

std::string ImportText(const Import& import, const ImportOptions& options) {
  std::string text =
      Format("%s phase, %zu taps at %.0f Hz", import.is_minimum_phase ? "minimum" : "the file's",
             options.taps, options.rate);
  if (options.is_delay_removed) {
    text += Format(", %.3f ms of delay removed", 1000.0 * import.removed_delay_seconds);
  }
  text += "\n";
  text += FilterText(import.time, import.gain);
  text += Line(options.taps < kFilterLength ? "left out" : "folded over",
               ShareText(import.cut_away_db) + " of the energy");
  return text;
}

Json DesignToJson(const ReadResult& read, const std::vector<Finding>& findings,
                  const Design& design, const DesignOptions& options) {
  Json object = MeasuredToJson(read);
  object["rate_hz"] = options.rate;
  object["phase"] = PhaseName(options.phase);
  object["taps"] = options.taps;
  if (!design.bins.empty()) {
    object["corrected_from_hz"] = design.corrected.from_hz;
    object["corrected_to_hz"] = design.corrected.to_hz;
    PutFilter(design.time, design.gain, object);
    object["smoothing"] = options.smoothing;
    object["rms_before_db"] = design.before.rms_db;
    object["rms_after_db"] = design.after.rms_db;
    object["largest_before_db"] = design.before.largest_db;
    object["largest_after_db"] = design.after.largest_db;
    Json binding = Json::array();
    for (const BindingLimit& limit : design.binding) {
      binding.push_back({{"limit", limit.is_boost ? "boost" : "cut"},
                         {"from_hz", limit.range.from_hz},
                         {"to_hz", limit.range.to_hz}});
    }
    object["binding_limits"] = binding;
  }
  Json mask;
  if (design.mask_before && design.mask_after) {
    mask = {{"name", options.mask->name},
            {"margin_before_db", design.mask_before->margin_db},
            {"margin_after_db", design.mask_after->margin_db},
            {"binding_hz", {design.mask_after->lower_hz, design.mask_after->upper_hz}}};
  }
  object["mask"] = mask;
  object["understood"] = SummaryToJson(read.summary);
  object["findings"] = FindingsToJson(findings);
  return object;
}

Json ImportToJson(const ReadResult& read, const std::vector<Finding>& findings,
                  const Import& import, const ImportOptions& options) {
  Json object = MeasuredToJson(read);
  object["rate_hz"] = options.rate;
  object["taps"] = options.taps;
  if (!import.bins.empty()) {
    object["phase"] = import.is_minimum_phase ? "minimum" : "file";
    object["removed_delay_ms"] = 1000.0 * import.removed_delay_seconds;
    object["left_out_db"] = ToJson(import.cut_away_db);
    PutFilter(import.time, import.gain, object);
  }
  object["understood"] = SummaryToJson(read.summary);
  object["findings"] = FindingsToJson(findings);
  return object;
}

}  // namespace brelmo::tavi::tools
