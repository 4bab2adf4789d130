#include "render/meters.h"

#include <cmath>

#include <algorithm>

#include "response/level.h"

namespace brelmo::tavi::tools {

void LevelMeter::Process(const StereoHop& hop) {
  for (size_t channel = 0; channel < 2; ++channel) {
    auto& frame = frames_[channel];
    std::copy(frame.begin() + kHop, frame.end(), frame.begin());
    std::copy(hop[channel].begin(), hop[channel].end(), frame.begin() + kHop);
    std::array<double, kFilterLength> windowed;
    for (size_t i = 0; i < frame.size(); ++i) {
      windowed[i] = frame[i] * std::sin(M_PI * static_cast<double>(i) / kFilterLength);
    }
    std::array<Complex, kBinCount> bins;
    BinsOfBlock(windowed.data(), windowed.size(), bins.data());
    for (size_t i = 0; i < bins.size(); ++i) {
      if (SpeechPower(BinFrequency(i, rate_)) > 0.0) sum_ += std::norm(bins[i]);
    }
  }
}

double LevelMeter::level_db() const { return ToDb(std::sqrt(sum_)); }

void StepMeter::Process(const StereoHop& hop) {
  std::array<double, 2> most{};
  for (size_t channel = 0; channel < 2; ++channel) {
    double& last = last_[channel];
    for (const double sample : hop[channel]) {
      most[channel] = std::max(most[channel], std::abs(sample - last));
      last = sample;
    }
  }
  steps_.push_back(most);
  ++hops_;
  // What lies around the oldest mark, and it waits for what comes behind it.
  if (steps_.size() > 2 * kAroundHops + kChangeHops + 1) steps_.pop_front();
}

std::vector<StepMeter::Step> StepMeter::Take(bool is_at_end) {
  std::vector<Step> known;
  const size_t first = hops_ - steps_.size();  // hop of the oldest step
  while (!marks_.empty()) {
    const auto [change, hop] = marks_.front();
    if (!is_at_end && hops_ < hop + kChangeHops + kAroundHops) break;
    Step step;
    step.change = change;
    for (size_t i = 0; i < steps_.size(); ++i) {
      const size_t at = first + i;
      if (at + kAroundHops < hop || at >= hop + kChangeHops + kAroundHops) continue;
      const bool is_change = at >= hop && at < hop + kChangeHops;
      for (size_t channel = 0; channel < 2; ++channel) {
        double& most = is_change ? step.step[channel] : step.against[channel];
        most = std::max(most, steps_[i][channel]);
      }
    }
    known.push_back(step);
    marks_.pop_front();
  }
  return known;
}

void ClipMeter::Process(const StereoHop& hop, size_t begin, size_t end) {
  for (size_t i = begin; i < end; ++i, ++samples_) {
    for (const Hop& channel : hop) {
      peak_ = std::max(peak_, std::abs(channel[i]));
      if (!IsClipped(channel[i], format_)) continue;
      if (count_++ == 0 || samples_ > last_.end + join_) {
        ++stretch_count_;
        last_ = {samples_, samples_, 0};
        if (stretch_count_ <= kMostStretches) stretches_.push_back(last_);
      }
      last_.end = samples_;
      ++last_.count;
      if (stretch_count_ <= kMostStretches) stretches_.back() = last_;
    }
  }
}

}  // namespace brelmo::tavi::tools
