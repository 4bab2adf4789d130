#include "render/dsp_player.h"

#include <algorithm>
#include <utility>

#include "response/filter_time.h"

namespace brelmo::tavi::tools {

namespace {

// A new response has had its effect on everything that a scheme keeps.
constexpr size_t kSettledHops = 4;

double EnergyOf(const Hop& hop) {
  double sum = 0.0;
  for (const double sample : hop) sum += sample * sample;
  return sum;
}

double DifferenceOf(const Hop& a, const Hop& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return sum;
}

}  // namespace

FilterPointer FlatFilter() {
  static const auto flat = std::make_shared<const NamedFilter>(
      NamedFilter{MakeBlockFilter(Bins(kBinCount, 1.0)), "bypass"});
  return flat;
}

void DspChannel::Set(const BlockFilter& filter) {
  next_ = &filter;
  if (filter_ == nullptr) filter_ = next_;
}

void DspChannel::Process(const Hop& in, Hop& out) {
  const BlockFilter* const before = std::exchange(filter_, next_);
  if (!fades_ || before == filter_) return scheme_->Process(in, *filter_, out);
  Hop old;
  scheme_->Clone()->Process(in, *before, old);
  scheme_->Process(in, *filter_, out);
  for (size_t i = 0; i < kHop; ++i) {
    const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(kHop);
    out[i] = share * out[i] + (1.0 - share) * old[i];
  }
}

DspPlayer::DspPlayer(const DspTimeline& timeline, const DspModel& model, bool compares)
    : timeline_(timeline), rate_(model.rate), flat_(FlatFilter()) {
  for (size_t channel = 0; channel < 2; ++channel) {
    channels_.emplace_back(model.scheme, model.fades);
    if (compares) {
      Comparison& comparison = comparisons_.emplace_back();
      for (const Scheme scheme : kSchemes) comparison.schemes.emplace_back(scheme, false);
    }
    Set(channel);
  }
}

void DspPlayer::Set(size_t channel) {
  const FilterPointer& response = responses_[channel];
  const NamedFilter& filter = is_active_ && response ? *response : *flat_;
  channels_[channel].Set(filter.filter);
  if (comparisons_.empty()) return;
  Comparison& comparison = comparisons_[channel];
  if (comparison.filter != &filter) comparison.hops = 0;
  comparison.filter = &filter;
  for (DspChannel& scheme : comparison.schemes) scheme.Set(filter.filter);
}

std::vector<const DspChange*> DspPlayer::BeginHop() {
  std::vector<const DspChange*> taken;
  const double now = static_cast<double>(hop_++ * kHop) / rate_;
  for (; next_change_ < timeline_.changes.size(); ++next_change_) {
    const DspChange& change = timeline_.changes[next_change_];
    constexpr double kRounding = 1e-9;
    if (change.seconds > now + kRounding) break;
    taken.push_back(&change);
    if (change.refusal != 0) continue;
    if (change.active) is_active_ = *change.active;
    if (change.left) responses_[0] = change.left;
    if (change.right) responses_[1] = change.right;
  }
  if (!taken.empty()) {
    for (size_t channel = 0; channel < 2; ++channel) Set(channel);
  }
  return taken;
}

void DspPlayer::Process(const StereoHop& in, StereoHop& out) {
  for (size_t channel = 0; channel < 2; ++channel) {
    channels_[channel].Process(in[channel], out[channel]);
    if (!comparisons_.empty()) Compare(channel, in[channel]);
  }
}

void DspPlayer::Compare(size_t channel, const Hop& in) {
  Comparison& comparison = comparisons_[channel];
  std::array<Hop, kSchemes.size()> played;
  for (size_t i = 0; i < played.size(); ++i) comparison.schemes[i].Process(in, played[i]);
  const auto& [overlap_save, windowed, ideal] = played;
  // Windowed is a hop late.
  if (++comparison.hops > kSettledHops && comparison.filter != flat_.get()) {
    auto at = std::find_if(sums_.begin(), sums_.end(), [&comparison](const Sums& sums) {
      return sums.filter == comparison.filter;
    });
    if (at == sums_.end()) at = sums_.insert(at, {comparison.filter, channel});
    Sums& sums = *at;
    sums.played += EnergyOf(comparison.before[1]);
    sums.overlap_save += DifferenceOf(comparison.before[0], comparison.before[1]);
    sums.windowed += DifferenceOf(windowed, comparison.before[1]);
    sums.between += DifferenceOf(windowed, comparison.before[0]);
  }
  comparison.before = {overlap_save, ideal};
}

std::vector<SchemeError> DspPlayer::SchemeErrors() const {
  const auto make = [](const Sums& sums) {
    SchemeError error;
    error.channel = sums.channel;
    error.overlap_save_db = ShareDb(sums.overlap_save, sums.played);
    error.windowed_db = ShareDb(sums.windowed, sums.played);
    error.between_db = ShareDb(sums.between, sums.played);
    return error;
  };
  Sums all;
  std::vector<SchemeError> errors;
  for (const Sums& sums : sums_) {
    all.played += sums.played;
    all.overlap_save += sums.overlap_save;
    all.windowed += sums.windowed;
    all.between += sums.between;
    SchemeError& error = errors.emplace_back(make(sums));
    error.name = sums.filter->name;
    error.beyond_taps_db = BeyondTapsDb(SignalOf(sums.filter->filter.bins), kPlayedTaps);
  }
  std::stable_sort(errors.begin(), errors.end(), [](const SchemeError& a, const SchemeError& b) {
    return a.overlap_save_db > b.overlap_save_db;
  });
  errors.insert(errors.begin(), make(all));
  return errors;
}

}  // namespace brelmo::tavi::tools
