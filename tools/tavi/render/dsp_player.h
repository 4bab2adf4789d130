// The virtual DSP with sound in it: two channels, through what a timeline sets.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "render/block_scheme.h"
#include "render/dsp_timeline.h"

namespace brelmo::tavi::tools {

using StereoHop = std::array<Hop, 2>;

struct DspModel {
  Scheme scheme = Scheme::kOverlapSave;
  double rate = 48000.0;
  // A new response is faded in over a block, instead of being in force at once.
  bool fades = false;
};

// One channel, in one scheme.
class DspChannel {
 public:
  DspChannel(Scheme scheme, bool fades) : scheme_(MakeBlockScheme(scheme)), fades_(fades) {}

  size_t delay() const { return scheme_->delay(); }
  // In force with the next hop.
  void Set(const BlockFilter& filter);
  void Process(const Hop& in, Hop& out);

 private:
  std::unique_ptr<BlockScheme> scheme_;
  bool fades_;
  const BlockFilter* filter_ = nullptr;  // borrowed
  const BlockFilter* next_ = nullptr;
};

// How far the schemes are from linear convolution with a response, where it has been in force for a
// while. Shares of what is played, in dB.
struct SchemeError {
  std::string name;
  size_t channel = 0;
  double overlap_save_db = 0.0;
  double windowed_db = 0.0;
  double between_db = 0.0;    // of each other
  double beyond_taps_db = 0;  // the energy that lies outside the first 257 taps: why
};

class DspPlayer {
 public:
  // The timeline is borrowed. `compares`: what SchemeErrors is about.
  DspPlayer(const DspTimeline& timeline, const DspModel& model, bool compares);

  size_t delay() const { return channels_[0].delay(); }
  // Changes of the timeline that are in force with the hop that comes next; takes them.
  std::vector<const DspChange*> BeginHop();
  void Process(const StereoHop& in, StereoHop& out);

  // The first is of everything; then a line a response, the worst first.
  std::vector<SchemeError> SchemeErrors() const;

 private:
  struct Sums {
    const NamedFilter* filter = nullptr;
    size_t channel = 0;
    double played = 0.0;
    double overlap_save = 0.0;
    double windowed = 0.0;
    double between = 0.0;
  };
  struct Comparison {
    std::vector<DspChannel> schemes;  // in the order of kSchemes
    std::array<Hop, 2> before{};      // what overlap-save and ideal played of the hop before
    const NamedFilter* filter = nullptr;
    size_t hops = 0;  // for which it has been in force
  };

  void Set(size_t channel);
  void Compare(size_t channel, const Hop& in);

  const DspTimeline& timeline_;
  const double rate_;
  const FilterPointer flat_;
  std::vector<DspChannel> channels_;
  std::vector<Comparison> comparisons_;  // empty without comparing
  size_t next_change_ = 0;
  size_t hop_ = 0;
  bool is_active_ = false;
  std::array<FilterPointer, 2> responses_;
  std::vector<Sums> sums_;  // in the order of their first use
};

// A response of 1.
FilterPointer FlatFilter();

}  // namespace brelmo::tavi::tools
