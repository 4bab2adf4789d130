#include "response/impulse_response.h"

#include <cmath>

#include <algorithm>

#include "console/wording.h"
#include "response/phase.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

namespace {

// The start: so many samples before the first one this close to the peak.
constexpr double kOnset = 0.1;
constexpr size_t kBeforeOnset = 16;
// An impulse response has this share of its energy around its peak. Measured ones: 63 to 99 %, the
// recording of a sweep: 17 %.
constexpr double kLeastShare = 0.5;
constexpr double kBeforePeakSeconds = 0.001;
constexpr double kBehindPeakSeconds = 0.02;
// A filter may be spread over this without a doubt.
constexpr double kFilterSeconds = 0.05;
constexpr double kSilence = 0.001;
constexpr double kCutLevel = 0.01;     // of the peak, at the end of the file
constexpr double kCutSeconds = 0.001;  // of that end, at most
constexpr double kFullScale = 0.99;
constexpr size_t kClippedSamples = 3;
// What is evaluated at up to kMaxEvaluated frequencies.
constexpr size_t kMaxWindowSamples = size_t{1} << 18U;

constexpr double kLeastHz = 10.0;
constexpr double kPointsPerOctave = 48.0;
constexpr double kMaxEvaluated = 4096.0;

size_t AsSamples(double seconds, double rate) {
  return static_cast<size_t>(std::lround(seconds * rate));
}

double Energy(const std::vector<double>& samples, size_t begin, size_t end) {
  double energy = 0.0;
  for (size_t i = begin; i < std::min(end, samples.size()); ++i) energy += samples[i] * samples[i];
  return energy;
}

class ImpulseReader {
 public:
  ImpulseReader(const std::string& file, const ImpulseSamples& impulse, const ReadOptions& options)
      : file_(file), impulse_(impulse), samples_(impulse.samples), options_(options) {}

  ImpulseReading Run() {
    const auto louder = [](double left, double right) {
      return std::fabs(left) < std::fabs(right);
    };
    const auto peak = std::max_element(samples_.begin(), samples_.end(), louder);
    if (peak == samples_.end() || *peak == 0.0) {
      Refuse("no-data", samples_.empty() ? "there are no samples" : "all samples are 0",
             "nothing was recorded, or another channel holds it");
      return std::move(reading_);
    }
    peak_ = std::fabs(*peak);
    peak_at_ = static_cast<size_t>(peak - samples_.begin());
    if (CheckKind() && ChooseStart() && CutWindow()) {
      CheckLevel();
      Evaluate();
    }
    return std::move(reading_);
  }

 private:
  void Add(const std::string& name, Severity severity, const std::string& message,
           const std::string& consequence) {
    reading_.findings.push_back(MakeFinding(name, severity, std::nullopt, message, consequence));
    reading_.findings.back().file = file_;
  }
  bool Refuse(const std::string& name, const std::string& message, const std::string& cure) {
    Add(name, Severity::kError, message, "the file is refused; " + cure);
    return false;
  }
  void Warn(const std::string& name, const std::string& message, const std::string& consequence) {
    Add(name, Severity::kWarning, message, consequence);
  }

  bool IsFilter() const { return options_.delay == DelayPolicy::kKeep; }

  bool CheckKind() {
    const double rate = impulse_.rate_hz;
    if (IsFilter()) {
      const auto sounds = [this](double sample) { return std::fabs(sample) >= kSilence * peak_; };
      const auto first = std::find_if(samples_.begin(), samples_.end(), sounds);
      const auto behind_last = std::find_if(samples_.rbegin(), samples_.rend(), sounds).base();
      if (static_cast<double>(behind_last - first) <= kFilterSeconds * rate) return true;
    }
    const size_t before = std::min(AsSamples(kBeforePeakSeconds, rate), peak_at_);
    const double share =
        Energy(samples_, peak_at_ - before, peak_at_ + AsSamples(kBehindPeakSeconds, rate)) /
        Energy(samples_, 0, samples_.size());
    if (share >= kLeastShare) return true;
    return Refuse(
        "not-an-impulse-response",
        Format("only %.0f %% of the energy lies around the peak, as in a recording", share * 100.0),
        "give the impulse response that the measuring program computes from a sweep or "
        "from noise, not the recording");
  }

  bool ChooseStart() {
    size_t& start = reading_.start_sample;
    if (options_.ir_start) {
      start = *options_.ir_start;
      if (start >= samples_.size()) {
        return Refuse("ir-start-outside",
                      "there is no sample " + std::to_string(start) + " in a file of " +
                          Count(samples_.size(), "sample"),
                      "samples are counted from 0");
      }
      if (start > peak_at_) {
        Warn("cut-impulse-response",
             "the start, sample " + std::to_string(start) + ", lies behind the peak at sample " +
                 std::to_string(peak_at_),
             "the response is that of the rest: leave --ir-start out, or name an earlier sample");
      }
    } else if (!IsFilter()) {
      while (std::fabs(samples_[start]) < kOnset * peak_) ++start;
      start -= std::min(start, kBeforeOnset);
    }
    // An explicit start is time 0, and so is the one that was found.
    const double file_start = impulse_.start_seconds.value_or(0.0);
    if (options_.ir_start || !IsFilter()) {
      reading_.measurement.delay_seconds =
          file_start + static_cast<double>(start) / impulse_.rate_hz;
    } else {
      reading_.measurement.impulse_time_seconds = file_start;
    }
    return true;
  }

  bool CutWindow() {
    const double rate = impulse_.rate_hz;
    const size_t start = reading_.start_sample;
    size_t end = samples_.size();
    if (options_.window_ms > 0.0) {
      const double length = std::max(1.0, std::round(options_.window_ms * 0.001 * rate));
      if (length < static_cast<double>(end - start)) end = start + static_cast<size_t>(length);
    }
    auto& window = reading_.measurement.impulse;
    window.assign(samples_.begin() + static_cast<std::ptrdiff_t>(start),
                  samples_.begin() + static_cast<std::ptrdiff_t>(end));
    while (window.size() > 1 && window.back() == 0.0) window.pop_back();
    if (window.size() > kMaxWindowSamples) {
      return Refuse("not-an-impulse-response",
                    "there are " + std::to_string(window.size()) + " samples to evaluate, of " +
                        std::to_string(kMaxWindowSamples) + " at most",
                    "cut the file, or give a shorter --window");
    }
    if (Energy(window, 0, window.size()) == 0.0) {
      return Refuse("no-data", "all samples from the start on are 0", "name an earlier start");
    }
    if (options_.window_ms <= 0.0) return true;
    // The second half of a Hann window over the last quarter.
    const double length = options_.window_ms * 0.001 * rate;
    for (size_t i = 0; i < window.size(); ++i) {
      const double faded = (static_cast<double>(i) / length - 0.75) * 4.0;
      if (faded > 0.0) window[i] *= 0.5 + 0.5 * std::cos(M_PI * std::min(faded, 1.0));
    }
    return true;
  }

  void CheckLevel() {
    const double rate = impulse_.rate_hz;
    const size_t left = samples_.size() - reading_.start_sample;
    const size_t tail =
        std::min(std::clamp<size_t>(left / 8, 8, std::max<size_t>(AsSamples(kCutSeconds, rate), 8)),
                 samples_.size());
    const double level = std::sqrt(Energy(samples_, samples_.size() - tail, samples_.size()) /
                                   static_cast<double>(tail));
    if (impulse_.is_cut) {
      Warn("cut-impulse-response",
           "the file holds " + Count(samples_.size(), "sample") + ", fewer than it states",
           "what is missing is taken for silence: copy or export the file again");
    } else if (!IsFilter() && static_cast<double>(left) < options_.window_ms * 0.001 * rate &&
               level > kCutLevel * peak_) {
      Warn("cut-impulse-response",
           "the file ends " + Milliseconds(static_cast<double>(left) / rate) +
               " behind the start, before the response has died away",
           "low frequencies are wrong: export more of it, or give a shorter --window");
    }
    size_t run = 0;
    for (const double sample : samples_) {
      run = peak_ >= kFullScale && std::fabs(sample) == peak_ ? run + 1 : 0;
      if (run < kClippedSamples) continue;
      Warn("clipped-impulse-response", "the peak stands at full scale for several samples",
           "the response is that of the clipping too: measure or export it with less level");
      break;
    }
  }

  static std::string Milliseconds(double seconds) { return Format("%.1f ms", seconds * 1000.0); }

  void Evaluate() {
    Measurement& measurement = reading_.measurement;
    const double rate = impulse_.rate_hz;
    measurement.impulse_rate_hz = rate;
    const double half = rate / 2.0;
    // A window resolves nothing below one period of it.
    double frequency =
        options_.window_ms > 0.0 ? std::max(kLeastHz, 1000.0 / options_.window_ms) : kLeastHz;
    frequency = std::min(frequency, half / 2.0);
    const double widest = std::max(rate / (4.0 * static_cast<double>(measurement.impulse.size())),
                                   half / kMaxEvaluated);
    const double ratio = std::exp2(1.0 / kPointsPerOctave) - 1.0;
    while (frequency < half) {
      measurement.frequency_hz.push_back(frequency);
      frequency += std::min(frequency * ratio, widest);
    }
    measurement.frequency_hz.push_back(half);
    // Seen from its peak the phase turns least.
    const auto inner_peak = std::max_element(
        measurement.impulse.begin(), measurement.impulse.end(),
        [](double left, double right) { return std::fabs(left) < std::fabs(right); });
    const double peak_seconds =
        measurement.impulse_time_seconds +
        static_cast<double>(inner_peak - measurement.impulse.begin()) / rate;
    std::vector<double> phase;
    for (const double hz : measurement.frequency_hz) {
      const std::complex<double> value = ResponseAt(measurement, hz);
      measurement.magnitude_db.push_back(std::max(ToDb(std::abs(value)), kLeastMagnitudeDb));
      phase.push_back(std::arg(value) * kDegreesPerRadian - DelayDegrees(hz, peak_seconds));
    }
    if (!phase.empty()) phase[0] = std::remainder(phase[0], 360.0);
    UnwrapPhase(phase);
    for (size_t i = 0; i < phase.size(); ++i) {
      phase[i] += DelayDegrees(measurement.frequency_hz[i], peak_seconds);
    }
    measurement.phase_degrees = std::move(phase);
  }

  const std::string& file_;
  const ImpulseSamples& impulse_;
  const std::vector<double>& samples_;
  const ReadOptions& options_;
  double peak_ = 0.0;
  size_t peak_at_ = 0;
  ImpulseReading reading_;
};

}  // namespace

ImpulseReading MakeImpulseMeasurement(const std::string& file, const ImpulseSamples& impulse,
                                      const ReadOptions& options) {
  return ImpulseReader(file, impulse, options).Run();
}

}  // namespace brelmo::tavi::tools
