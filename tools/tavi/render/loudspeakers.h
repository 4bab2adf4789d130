// The measured loudspeakers behind the DSP: what arrives at the ear.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "render/block_scheme.h"
#include "render/dsp_player.h"
#include "response/measurement.h"

namespace brelmo::tavi::tools {

class Loudspeakers {
 public:
  // Samples by which the sound comes later: what a measured phase has before time 0 needs room.
  static constexpr size_t kLead = 128;

  // One measurement for both, or left and right. They are played as loud as they were measured to
  // each other, and as loud together as the signal that they get; and as far apart in time as they
  // were measured, where they tell.
  Loudspeakers(const std::vector<Measurement>& measurements, double rate);

  void Process(const StereoHop& in, StereoHop& out);
  // That takes the loudspeakers to the signal's level, in dB.
  double gain_db() const { return gain_db_; }
  // Why the time between left and right is not what was measured; empty when it is.
  const std::string& time_fault() const { return time_fault_; }

 private:
  double gain_db_ = 0.0;
  std::string time_fault_;
  std::vector<std::vector<Bins>> parts_;  // of each channel
  std::vector<Convolver> convolvers_;
};

// Reads them, and says what is found. Throws InputError for a measurement that is refused.
std::vector<Measurement> ReadLoudspeakers(const std::vector<std::string>& paths);

}  // namespace brelmo::tavi::tools
