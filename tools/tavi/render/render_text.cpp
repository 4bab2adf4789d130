#include "render/render_text.h"

#include <cmath>

#include <algorithm>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

std::string Line(const char* title, const std::string& text) {
  return Format("    %-12s", title) + text + "\n";
}

std::string DbText(double db) {
  return std::isfinite(db) ? Format("%.1f dB", db) : std::string("none");
}

const char* FormatName(SampleFormat format) {
  switch (format) {
    case SampleFormat::k16:
      return "16 bit";
    case SampleFormat::k24:
      return "24 bit";
    case SampleFormat::kFloat:
      break;
  }
  return "32 bit float";
}

std::string InputText(const RenderRequest& request, const RenderResult& result) {
  std::string text = Printable(request.audio) + ": " + Count(result.file_channels, "channel") +
                     Format(" at %d Hz", result.file_rate);
  if (result.file_channels == 1) text += ", feeds both";
  if (result.file_channels > 2) text += "; the first two are played";
  if (result.is_resampled) {
    text += Format("; resampled to %.0f Hz (libsamplerate, sinc, medium quality)",
                   request.render.dsp.rate);
  }
  return text;
}

std::string TurnsText(const RenderRequest& request, const RenderResult& result) {
  return Format("every %g s: ", request.render.turn_seconds) +
         (request.old_path.empty() ? "bypass, then the correction"
                                   : Printable(request.old_path) + ", then the configuration") +
         Format(", made equally loud from 200 to 8000 Hz by %+.2f dB and %+.2f dB",
                result.turn_gain_db[1], result.turn_gain_db[0]);
}

// The step against the signal's own, of the channel where that is the greatest.
std::string StepText(const StepMeter::Step& step) {
  // Less than the last bit of 16 is no sound.
  constexpr double kSilence = 0x1p-16;
  constexpr double kClickDb = 6.0;
  const auto ratio = [&](size_t channel) {
    return step.step[channel] / std::max(step.against[channel], kSilence);
  };
  const size_t channel = ratio(1) > ratio(0) ? 1 : 0;
  if (step.step[channel] < kSilence) return "silence";
  const double db = ToDb(ratio(channel));
  return Format("%8.4f  %+6.1f dB", step.step[channel], db) +
         (db > kClickDb ? channel == 0 ? "  a click, left" : "  a click, right" : "");
}

std::string ChangesText(const RenderResult& result, double scenario_seconds) {
  if (result.changes.empty()) return Line("changes", "none: the DSP gets nothing in this time");
  size_t event_width = 0;
  size_t what_width = 0;
  for (const ChangeResult& change : result.changes) {
    event_width = std::max(event_width, change.event.size());
    what_width = std::max(what_width, change.what.size());
  }
  const auto row = [&](const char* title, const std::string& at, const std::string& event,
                       const std::string& what, const std::string& step) {
    return Line(title, Format("%10s  %-*s  %-*s  ", at.c_str(), static_cast<int>(event_width),
                              event.c_str(), static_cast<int>(what_width), what.c_str()) +
                           step);
  };
  std::string text = row("changes", "at", "by", "in force",
                         "largest step, and against the signal's own within 50 ms");
  for (const ChangeResult& change : result.changes) {
    text +=
        row("", Format("%.3f s", change.seconds), change.event, change.what, StepText(change.step));
  }
  if (result.changes_behind_end > 0) {
    text += Line("", Format("the scenario lasts %.3f s: ", scenario_seconds) +
                         Count(result.changes_behind_end, "write") +
                         " behind the end of the input cannot be heard; give a longer input");
  }
  return text;
}

std::string ErrorsText(const std::vector<SchemeError>& errors) {
  if (errors.size() < 2) {
    return Line("schemes", "not compared: no response is in force for long enough");
  }
  std::string text = Line(
      "schemes", "what each plays besides linear convolution with all 512 taps, on this material:");
  size_t width = 0;
  for (const SchemeError& error : errors) width = std::max(width, error.name.size());
  width = std::min(std::max(width, sizeof("everything") - 1), size_t{40});
  text += Line("", Format("%-*s  %-5s  %12s  %10s  %12s", static_cast<int>(width), "", "",
                          "overlap-save", "windowed", "each other"));
  for (size_t i = 0; i < errors.size(); ++i) {
    const SchemeError& error = errors[i];
    const char* const channel = i == 0 ? "both" : error.channel == 0 ? "left" : "right";
    text += Line("", Format("%-*s  %-5s  %12s  %10s  %12s", static_cast<int>(width),
                            i == 0 ? "everything" : Printable(error.name).c_str(), channel,
                            DbText(error.overlap_save_db).c_str(),
                            DbText(error.windowed_db).c_str(), DbText(error.between_db).c_str()) +
                         (i > 0 ? "  beyond 257 taps: " + DbText(error.beyond_taps_db) : ""));
  }
  return text;
}

std::string ClippingText(const RenderRequest& request, const RenderResult& result) {
  const ClipMeter& clipping = *result.clipping;
  const double peak_db = ToDb(clipping.peak());
  if (clipping.count() == 0) {
    return Line("clipping", std::isfinite(peak_db)
                                ? Format("none; the peak is %.2f dB of full scale", peak_db)
                                : "none; the output is silent");
  }
  std::string text;
  for (const ClipMeter::Stretch& stretch : clipping.stretches()) {
    text += text.empty() ? "" : ", ";
    text += Format("%zu at %.3f s", stretch.count,
                   static_cast<double>(stretch.begin) / request.render.dsp.rate);
  }
  if (clipping.stretch_count() > clipping.stretches().size()) {
    text +=
        Format(" and in %zu more places", clipping.stretch_count() - clipping.stretches().size());
  }
  return Line("clipping", Count(clipping.count(), "sample") + ": " + text +
                              Format("; a gain of %.2f dB avoids it (--normalise peak)",
                                     std::floor(-peak_db * 100.0 - 0.5) / 100.0));
}

}  // namespace

std::string RenderText(const RenderRequest& request, const RenderResult& result,
                       double scenario_seconds) {
  const RenderOptions& options = request.render;
  std::string text = Format(": %.3f s in stereo at %.0f Hz, ", result.seconds, options.dsp.rate) +
                     FormatName(options.format) + "\n";
  text += Line("input", InputText(request, result));
  text += Line("DSP", DescribeScheme(options.dsp.scheme) + "; a new response " +
                          (options.dsp.fades ? "fades in over the next block"
                                             : "is in force with the next block"));
  text += Line("", "(a model: the real DSP's scheme is not known)");
  if (!request.loudspeakers.empty()) {
    std::vector<std::string> names;
    for (const std::string& name : request.loudspeakers) names.push_back(Printable(name));
    text += Line("through",
                 Enumerate(names) + Format(", levelled by %+.1f dB", result.loudspeaker_gain_db));
    if (!result.loudspeaker_time_fault.empty()) {
      text += Line(
          "", "the delay between left and right is not kept: " + result.loudspeaker_time_fault);
    }
  }
  if (request.is_against_bypass || !request.old_path.empty()) {
    text += Line("turns", TurnsText(request, result));
  }
  if (options.normalises) {
    text += Line("normalised", Format("by %+.2f dB", result.gain_db));
  }
  text += ChangesText(result, scenario_seconds);
  text += ErrorsText(result.errors);
  return text + ClippingText(request, result);
}

}  // namespace brelmo::tavi::tools
