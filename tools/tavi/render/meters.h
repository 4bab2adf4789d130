// What is measured of a rendering while it is made, each in memory that does not grow.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "render/audio_file.h"
#include "render/dsp_player.h"

namespace brelmo::tavi::tools {

// How loud a rendering of speech is: its power from 200 to 8000 Hz, both channels together. The
// material brings speech's spectrum itself.
class LevelMeter {
 public:
  explicit LevelMeter(double rate) : rate_(rate) {}
  void Process(const StereoHop& hop);
  double level_db() const;  // -infinity for silence

 private:
  double rate_;
  std::array<std::array<double, kFilterLength>, 2> frames_{};
  double sum_ = 0.0;
};

// The largest step from one sample to the next where a response changes, against the largest within
// 50 ms on both sides of it.
class StepMeter {
 public:
  struct Step {
    size_t change = 0;                // as it was given
    std::array<double, 2> step{};     // of each channel; full scale is 1
    std::array<double, 2> against{};  // the signal's own
  };

  // The change takes effect in the next hop, and the one behind it.
  void Mark(size_t change) { marks_.push_back({change, hops_}); }
  void Process(const StereoHop& hop);
  // The steps that are known by now; all of them at the end.
  std::vector<Step> Take(bool is_at_end);

 private:
  static constexpr size_t kChangeHops = 2;
  static constexpr size_t kAroundHops = 10;

  struct Pending {
    size_t change;
    size_t hop;
  };

  std::deque<Pending> marks_;
  std::deque<std::array<double, 2>> steps_;  // of the last hops
  size_t hops_ = 0;
  std::array<double, 2> last_{};
};

// What a file cannot hold.
class ClipMeter {
 public:
  struct Stretch {
    size_t begin = 0;  // sample
    size_t end = 0;
    size_t count = 0;
  };

  ClipMeter(double rate, SampleFormat format)
      : join_(static_cast<size_t>(rate / 20)), format_(format) {}
  void Process(const StereoHop& hop, size_t begin, size_t end);

  size_t count() const { return count_; }
  double peak() const { return peak_; }
  // The first few; those less than 50 ms apart are one.
  const std::vector<Stretch>& stretches() const { return stretches_; }
  size_t stretch_count() const { return stretch_count_; }

  static constexpr size_t kMostStretches = 5;

 private:
  size_t join_;
  SampleFormat format_;
  size_t samples_ = 0;
  size_t count_ = 0;
  double peak_ = 0.0;
  std::vector<Stretch> stretches_;
  Stretch last_;
  size_t stretch_count_ = 0;
};

}  // namespace brelmo::tavi::tools
