#include "render/loudspeakers.h"

#include <cmath>

#include <algorithm>
#include <complex>

#include "console/finding_text.h"
#include "console/input.h"
#include "console/terminal.h"
#include "response/level.h"
#include "response/measurement_reader.h"
#include "response/minimum_phase.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kPoints = 4096;

// Of kPoints samples, kLead of them before time 0.
std::vector<double> ImpulseOf(const Measurement& measurement, double rate) {
  std::vector<Complex> bins(kCepstrumSize / 2 + 1);
  const auto hz_of = [&bins, rate](size_t bin) {
    return static_cast<double>(bin) / static_cast<double>(2 * (bins.size() - 1)) * rate;
  };
  if (measurement.has_phase()) {
    for (size_t i = 0; i < bins.size(); ++i) bins[i] = ResponseAt(measurement, hz_of(i));
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

Loudspeakers::Loudspeakers(const std::vector<Measurement>& measurements, double rate) {
  std::vector<std::vector<double>> impulses;
  double power = 0.0;
  for (const Measurement& measurement : measurements) {
    impulses.push_back(ImpulseOf(measurement, rate));
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
    if (!read.measurement) throw InputError(path + ": cannot be used as a loudspeaker");
    measurements.push_back(std::move(*read.measurement));
  }
  return measurements;
}

}  // namespace brelmo::tavi::tools
