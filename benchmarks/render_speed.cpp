// What rendering costs: beside hearing the same audio, and beside its convolution alone. ./bench
// runs this.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "process/scratch_folder.h"
#include "render/audio_file.h"
#include "render/block_scheme.h"
#include "render/dsp_timeline.h"
#include "render/render.h"

namespace brelmo::tavi::benchmarks {

namespace {

using tools::BlockScheme;
using tools::DspTimeline;
using tools::Scheme;
using tools::StereoHop;

constexpr double kRate = 48000.0;
constexpr size_t kHops = 5625;  // 30 s
constexpr double kSeconds = kHops * tools::kHop / kRate;
constexpr size_t kTaps = 257;
constexpr double kChangeSeconds = 1.5;
constexpr int kRounds = 9;

// Of the process, with all of its threads.
double CpuSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

double MedianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::vector<StereoHop> Noise() {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> sample(-0.1, 0.1);
  std::vector<StereoHop> hops(kHops);
  for (StereoHop& hop : hops) {
    for (auto& channel : hop)
      std::generate(channel.begin(), channel.end(), [&] { return sample(random); });
  }
  return hops;
}

void WriteTo(const std::string& path, const std::vector<StereoHop>& hops) {
  std::FILE* const file = std::fopen(path.c_str(), "w+b");
  tools::AudioSink sink(file, kRate, tools::SampleFormat::k16,
                        static_cast<double>(hops.size() * tools::kHop));
  for (const StereoHop& hop : hops) sink.Write(hop, 0, tools::kHop);
  sink.Finish();
  std::fclose(file);
}

std::shared_ptr<const tools::NamedFilter> MakeFilter(unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> sample(0.0, 0.02);
  std::vector<double> impulse(tools::kFilterLength);
  for (size_t i = 0; i < kTaps; ++i) impulse[i] = sample(random);
  return std::make_shared<tools::NamedFilter>(
      tools::NamedFilter{tools::MakeBlockFilter(tools::BinsOf(impulse)), std::to_string(seed)});
}

// The postures of a phone that is opened and closed all the time.
DspTimeline Changes() {
  DspTimeline timeline;
  for (double at = 0.0; at < kSeconds; at += kChangeSeconds) {
    tools::DspChange change;
    change.seconds = at;
    change.event = "hinge";
    change.active = true;
    const auto number = static_cast<unsigned>(timeline.changes.size()) % 5;
    change.left = MakeFilter(2 * number);
    change.right = MakeFilter(2 * number + 1);
    timeline.changes.push_back(change);
  }
  return timeline;
}

double TimeRender(const tools::RenderSources& sources, const std::string& output) {
  std::FILE* const file = std::fopen(output.c_str(), "w+b");
  const double begin = CpuSeconds();
  Render(sources, {}, file);
  const double end = CpuSeconds();
  std::fclose(file);
  return end - begin;
}

double TimeBare(const std::vector<StereoHop>& hops) {
  const auto filter = MakeFilter(0);
  const std::array<std::unique_ptr<BlockScheme>, 2> schemes = {
      MakeBlockScheme(Scheme::kOverlapSave), MakeBlockScheme(Scheme::kOverlapSave)};
  StereoHop out;
  double sum = 0.0;
  const double begin = CpuSeconds();
  for (const StereoHop& hop : hops) {
    for (size_t channel = 0; channel < 2; ++channel) {
      schemes[channel]->Process(hop[channel], filter->filter, out[channel]);
      sum += out[channel][0];
    }
  }
  const double end = CpuSeconds();
  // So that nothing of it can be left out.
  if (!std::isfinite(sum)) std::printf("%g\n", sum);
  return end - begin;
}

int Main() {
  const tools::ScratchFolder folder;
  const std::string input = folder.path("in.wav");
  const std::vector<StereoHop> hops = Noise();
  WriteTo(input, hops);
  const DspTimeline timeline = Changes();
  const std::vector<tools::Measurement> no_loudspeakers;
  const tools::RenderSources sources = {input, timeline, nullptr, no_loudspeakers};
  std::vector<double> render;
  std::vector<double> bare;
  for (int round = 0; round < kRounds; ++round) {
    render.push_back(TimeRender(sources, folder.path("out.wav")));
    bare.push_back(TimeBare(hops));
  }
  const double seconds = MedianOf(render);
  std::printf("\nrender: %.0f s of stereo at 48 kHz, %zu changes of the response: %.3f s of CPU\n",
              kSeconds, timeline.changes.size(), seconds);
  std::printf("  faster than it is heard  %6.0f times (aim: at least 50)\n", kSeconds / seconds);
  std::printf(
      "  beside its convolution   %6.1f times (aim: at most 8; two more schemes are played)\n",
      seconds / MedianOf(bare));
  return 0;
}

}  // namespace

}  // namespace brelmo::tavi::benchmarks

int main() {
  try {
    return brelmo::tavi::benchmarks::Main();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "render_speed: %s\n", error.what());
    return 1;
  }
}
