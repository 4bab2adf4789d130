#include "render/render.h"

#include <cmath>

#include <algorithm>
#include <memory>
#include <utility>

#include "console/wording.h"
#include "process/interrupts.h"
#include "render/loudspeakers.h"

namespace brelmo::tavi::tools {

namespace {

// A DSP and what is behind it.
class DspChain {
 public:
  DspChain(const DspTimeline& timeline, const RenderSources& sources, const DspModel& model,
           bool compares)
      : player_(timeline, model, compares), level_(model.rate) {
    if (!sources.loudspeakers.empty()) loudspeakers_.emplace(sources.loudspeakers, model.rate);
  }

  // In samples.
  size_t delay() const {
    return player_.delay() * kHop + (loudspeakers_ ? Loudspeakers::kLead : 0);
  }
  const DspPlayer& player() const { return player_; }
  double level_db() const { return level_.level_db(); }
  const std::optional<Loudspeakers>& loudspeakers() const { return loudspeakers_; }
  const StereoHop& out() const { return out_; }

  std::vector<const DspChange*> Process(const StereoHop& in, bool measures_level) {
    auto changes = player_.BeginHop();
    player_.Process(in, out_);
    if (loudspeakers_) {
      const StereoHop dry = out_;
      loudspeakers_->Process(dry, out_);
    }
    if (measures_level) level_.Process(out_);
    return changes;
  }

 private:
  DspPlayer player_;
  std::optional<Loudspeakers> loudspeakers_;
  LevelMeter level_;
  StereoHop out_{};
};

// Says what is heard from a change on.
class Narrator {
 public:
  ChangeResult Tell(const std::vector<const DspChange*>& changes, double seconds,
                    std::vector<std::string>& faults) {
    ChangeResult result;
    result.seconds = seconds;
    result.event = changes.back()->event;
    std::string remarks;
    for (const DspChange* change : changes) {
      if (!change->fault.empty()) {
        faults.push_back("behind " + change->event + ": " + change->fault +
                         ": what was in force stays");
        remarks += "; a response that cannot be played";
      }
      if (change->refusal != 0) {
        remarks += "; a write was refused with " + std::to_string(change->refusal);
        continue;
      }
      if (change->active) is_active_ = *change->active;
      if (change->left || change->right) {
        cases_ = change->cases.empty() ? "a response of no case" : CaseNumbers(change->cases);
      }
    }
    result.what = (is_active_ ? cases_ : "bypass") + remarks;
    return result;
  }

 private:
  bool is_active_ = false;
  std::string cases_ = "no correction yet";
};

class Rendering {
 public:
  Rendering(const RenderSources& sources, const RenderOptions& options)
      : sources_(sources), options_(options) {}

  RenderResult Run(std::FILE* stream) {
    if (options_.normalises || sources_.reference != nullptr) {
      Pass(nullptr);
      SetGains();
    }
    const double most_frames = AudioSource(sources_.audio, options_.dsp.rate).most_frames();
    AudioSink sink(stream, options_.dsp.rate, options_.format, most_frames);
    Pass(&sink);
    sink.Finish();
    return std::move(result_);
  }

 private:
  // Without a sink it measures what the gains depend on.
  void Pass(AudioSink* sink) {
    const bool is_measuring = sink == nullptr;
    AudioSource source(sources_.audio, options_.dsp.rate);
    std::vector<std::unique_ptr<DspChain>> chains;
    chains.push_back(
        std::make_unique<DspChain>(sources_.timeline, sources_, options_.dsp, !is_measuring));
    if (sources_.reference != nullptr) {
      chains.push_back(
          std::make_unique<DspChain>(*sources_.reference, sources_, options_.dsp, false));
    }
    ClipMeter clipping(options_.dsp.rate, options_.format);
    StepMeter steps;
    Narrator narrator;
    const size_t delay = chains[0]->delay();
    size_t length = 0;
    bool is_at_end = false;
    for (size_t at = 0; !is_at_end || at < length + delay; at += kHop) {
      ThrowIfInterrupted();
      StereoHop in{};
      if (!is_at_end) {
        const size_t count = source.Read(in);
        length += count;
        is_at_end = count < kHop;
      }
      std::vector<const DspChange*> changes;
      for (size_t i = chains.size(); i-- > 0;) changes = chains[i]->Process(in, is_measuring);
      const size_t begin = at < delay ? std::min(delay - at, kHop) : 0;
      const size_t end =
          is_at_end ? std::min(length + delay - std::min(at, length + delay), kHop) : kHop;
      if (!is_measuring && at < length) {
        if (!changes.empty()) {
          steps.Mark(result_.changes.size());
          result_.changes.push_back(
              narrator.Tell(changes, static_cast<double>(at) / options_.dsp.rate, result_.faults));
        }
        heard_ += changes.size();
      }
      steps.Process(chains[0]->out());
      TakeSteps(steps, false);
      if (begin >= end) continue;
      const StereoHop mixed = Mix(chains, at, delay);
      if (is_measuring) continue;
      clipping.Process(mixed, begin, end);
      sink->Write(mixed, begin, end);
    }
    if (is_measuring) {
      for (size_t i = 0; i < chains.size(); ++i) levels_db_[i] = chains[i]->level_db();
      return;
    }
    TakeSteps(steps, true);
    result_.clipping = clipping;
    Conclude(source, *chains[0], length);
  }

  void Conclude(const AudioSource& source, const DspChain& chain, size_t length) {
    result_.file_rate = source.file_rate();
    result_.file_channels = source.file_channels();
    result_.is_resampled = source.is_resampled();
    result_.seconds = static_cast<double>(length) / options_.dsp.rate;
    if (const auto& loudspeakers = chain.loudspeakers()) {
      result_.loudspeaker_gain_db = loudspeakers->gain_db();
      result_.loudspeaker_time_fault = loudspeakers->time_fault();
    }
    result_.changes_behind_end = sources_.timeline.changes.size() - heard_;
    result_.errors = chain.player().SchemeErrors();
  }

  void TakeSteps(StepMeter& steps, bool is_at_end) {
    for (StepMeter::Step step : steps.Take(is_at_end)) {
      for (size_t channel = 0; channel < 2; ++channel) {
        step.step[channel] *= gains_[0];
        step.against[channel] *= gains_[0];
      }
      result_.changes[step.change].step = step;
    }
  }

  // The hop of which the first sample is `at`, `delay` later. Notes the peaks of the chains.
  StereoHop Mix(const std::vector<std::unique_ptr<DspChain>>& chains, size_t at, size_t delay) {
    StereoHop mixed{};
    for (size_t i = 0; i < kHop; ++i) {
      const double share = chains.size() == 1 ? 1.0 : ShareAt(at + i < delay ? 0 : at + i - delay);
      for (size_t channel = 0; channel < 2; ++channel) {
        for (size_t chain = 0; chain < chains.size(); ++chain) {
          const double weight = chain == 0 ? share : 1.0 - share;
          const double sample = chains[chain]->out()[channel][i];
          mixed[channel][i] += weight * gains_[chain] * sample;
          if (weight > 0.0) peaks_[chain] = std::max(peaks_[chain], std::abs(sample));
        }
      }
    }
    return mixed;
  }

  // Of the timeline; the reference begins, and each turn fades in over a hop.
  double ShareAt(size_t sample) const {
    const auto length = static_cast<size_t>(std::lround(options_.turn_seconds * options_.dsp.rate));
    const size_t turn = sample / length;
    const double is_own = turn % 2 == 1 ? 1.0 : 0.0;
    if (turn == 0) return is_own;
    const double faded = static_cast<double>(sample % length) / static_cast<double>(kHop);
    return faded >= 1.0 ? is_own : is_own * faded + (1.0 - is_own) * (1.0 - faded);
  }

  void SetGains() {
    const double quieter = std::min(levels_db_[0], levels_db_[1]);
    if (sources_.reference != nullptr && std::isfinite(quieter)) {
      // The louder one is turned down.
      for (size_t i = 0; i < 2; ++i) {
        result_.turn_gain_db[i] = quieter - levels_db_[i];
        gains_[i] = FromDb(result_.turn_gain_db[i]);
      }
    }
    const double peak = std::max(peaks_[0] * gains_[0], peaks_[1] * gains_[1]);
    if (!options_.normalises || !(peak > 0.0)) return;
    result_.gain_db = kNormalisedPeakDb - ToDb(peak);
    for (double& gain : gains_) gain *= FromDb(result_.gain_db);
  }

  const RenderSources& sources_;
  const RenderOptions& options_;
  std::array<double, 2> gains_{1.0, 1.0};
  std::array<double, 2> peaks_{};
  std::array<double, 2> levels_db_{};  // with a reference, over the whole material
  size_t heard_ = 0;
  RenderResult result_;
};

}  // namespace

RenderResult Render(const RenderSources& sources, const RenderOptions& options, std::FILE* stream) {
  return Rendering(sources, options).Run(stream);
}

}  // namespace brelmo::tavi::tools
