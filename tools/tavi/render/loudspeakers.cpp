#include "render/loudspeakers.h"

#include <cmath>

#include <algorithm>
#include <complex>

#include "console/finding_text.h"
#include "console/input.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "response/level.h"
#include "response/measurement_reader.h"
#include "response/minimum_phase.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kPoints = 4096;

// Why two measurements do not tell how much later one of them is than the other.
std::string TimeFault(const std::vector<Measurement>& measurements) {
  if (measurements.size() < 2) return "";
  const Measurement& left = measurements[0];
  const Measurement& right = measurements[1];
  if (!left.has_phase() || !right.has_phase()) return "a measurement has no phase";
  if (left.impulse.empty() != right.impulse.empty()) {
    return "one is an impulse response and the other a text of another time base";
  }
  // Some 3 m of way: more is no distance between two speakers of one device.
  constexpr double kFurthestSeconds = 0.01;
  const double apart = std::abs(left.delay_seconds - right.delay_seconds);
  if (apart <= kFurthestSeconds) return "";
  return Format("they are %.1f ms apart, which is no time base in common", apart * 1000.0);
}

// Of kPoints samples, kLead of them before time 0, and `later` seconds later than measured.
std::vector<double> ImpulseOf(const Measurement& measurement, double rate, double later) {
  std::vector<Complex> bins(kCepstrumSize / 2 + 1);
  const auto hz_of = [rate](size_t bin) { return BinFrequency(bin, rate, kCepstrumSize); };
  if (measurement.has_phase()) {
    for (size_t i = 0; i < bins.size(); ++i) {
      const double turns = std::remainder(hz_of(i) * later, 1.0);
      bins[i] = ResponseAt(measurement, hz_of(i)) * std::polar(1.0, -2.0 * M_PI * turns);
    }
  } else {
    std::vector<double> gains(bins.size());
    for (size_t i = 0; i < gains.size(); ++i) {
      gains[i] = FromDb(MagnitudeDbAt(measurement, hz_of(i)));
    }
    bins = MinimumPhase(gains);
  }
  std::vector<double> circle = SignalOf(bins);
  std::rotate(circle.begin(), circle.end() - Loudspeakers::kLead, circle.end());
  circle.resize(kPoints);
  return circle;
}

}  // namespace

Loudspeakers::Loudspeakers(const std::vector<Measurement>& measurements, double rate)
    : time_fault_(TimeFault(measurements)) {
  std::vector<std::vector<double>> impulses;
  double power = 0.0;
  // What was taken off both alike is no difference between them.
  double earliest = measurements.front().delay_seconds;
  for (const Measurement& measurement : measurements) {
    earliest = std::min(earliest, measurement.delay_seconds);
  }
  for (const Measurement& measurement : measurements) {
    const double later = time_fault_.empty() ? measurement.delay_seconds - earliest : 0.0;
    impulses.push_back(ImpulseOf(measurement, rate, later));
    const double level = FromDb(SpeechLevelDb(BinsOf(impulses.back(), kPoints), rate));
    power += level * level / static_cast<double>(measurements.size());
  }
  const double gain = power > 0.0 ? 1.0 / std::sqrt(power) : 1.0;
  gain_db_ = ToDb(gain);
  for (size_t channel = 0; channel < 2; ++channel) {
    std::vector<double> impulse = impulses[std::min(channel, impulses.size() - 1)];
    for (double& sample : impulse) sample *= gain;
    parts_.push_back(PartsOf(impulse));
    convolvers_.emplace_back(parts_.back().size());
  }
}

void Loudspeakers::Process(const StereoHop& in, StereoHop& out) {
  for (size_t channel = 0; channel < 2; ++channel) {
    convolvers_[channel].Process(in[channel], parts_[channel], out[channel]);
  }
}

std::vector<Measurement> ReadLoudspeakers(const std::vector<std::string>& paths) {
  std::vector<Measurement> measurements;
  for (const std::string& path : paths) {
    ReadResult read = ReadMeasurement(path, ReadOptions());
    for (const Finding& finding : read.findings) PrintFinding(finding, "", IsColourWanted());
    if (!read.measurement)
      throw InputError(path +
                       ": cannot be used as a loudspeaker; there is no --column and no --channel "
                       "here: give a file of one curve");
    measurements.push_back(std::move(*read.measurement));
  }
  return measurements;
}

}  // namespace brelmo::tavi::tools
