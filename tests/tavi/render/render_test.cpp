// What the virtual DSP plays, against convolution told anew.
#include "render/render.h"

#include <cmath>
#include <cstdio>

#include <array>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "console/input.h"
#include "process/scratch_folder.h"
#include "render/audio_file.h"
#include "render/block_scheme.h"

namespace brelmo::tavi::tools {
namespace {

using Samples = std::vector<double>;

Samples Noise(size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> distribution(-0.25, 0.25);
  Samples samples(count);
  for (double& sample : samples) sample = distribution(random);
  return samples;
}

Samples Convolved(const Samples& signal, const Samples& impulse) {
  Samples out(signal.size());
  for (size_t i = 0; i < out.size(); ++i) {
    for (size_t k = 0; k < impulse.size() && k <= i; ++k) out[i] += impulse[k] * signal[i - k];
  }
  return out;
}

double DifferenceDb(const Samples& a, const Samples& b) {
  double error = 0;
  double whole = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    error += (a[i] - b[i]) * (a[i] - b[i]);
    whole += b[i] * b[i];
  }
  return 10 * std::log10(error / whole);
}

double LargestStep(const Samples& samples, size_t begin, size_t end) {
  double most = 0;
  for (size_t i = begin; i < end; ++i) {
    most = std::max(most, std::abs(samples[i] - samples[i - 1]));
  }
  return most;
}

// A write at the begin of a call that gives both channels a filter.
DspChange Sets(const Samples& impulse, double seconds = 0) {
  const auto filter =
      std::make_shared<NamedFilter>(NamedFilter{MakeBlockFilter(BinsOf(impulse)), "made.txt"});
  DspChange change;
  change.seconds = seconds;
  change.event = "hinge 9";
  change.active = true;
  change.left = change.right = filter;
  return change;
}

class RenderTest : public testing::Test {
 protected:
  RenderTest() { options_.format = SampleFormat::kFloat; }

  void Input(const Samples& left, const Samples& right, double rate = 48000) const {
    std::FILE* const file = std::fopen(folder_.path("in.wav").c_str(), "w+b");
    AudioSink sink(file, rate, SampleFormat::kFloat, static_cast<double>(left.size()));
    for (size_t at = 0; at < left.size(); at += kHop) {
      StereoHop hop{};
      const size_t count = std::min(kHop, left.size() - at);
      std::copy_n(&left[at], count, hop[0].begin());
      std::copy_n(&right[at], count, hop[1].begin());
      sink.Write(hop, 0, count);
    }
    sink.Finish();
    std::fclose(file);
  }

  RenderResult Play(const DspTimeline& timeline, const DspTimeline* reference = nullptr) {
    std::FILE* const file = std::fopen(folder_.path("out.wav").c_str(), "w+b");
    const RenderSources sources = {folder_.path("in.wav"), timeline, reference, loudspeakers_};
    RenderResult result = Render(sources, options_, file);
    std::fclose(file);
    AudioSource out(folder_.path("out.wav"), options_.dsp.rate);
    out_ = {};
    StereoHop hop;
    for (size_t count = kHop; count == kHop;) {
      count = out.Read(hop);
      for (size_t channel = 0; channel < 2; ++channel) {
        out_[channel].insert(out_[channel].end(), hop[channel].begin(),
                             hop[channel].begin() + static_cast<std::ptrdiff_t>(count));
      }
    }
    return result;
  }

  ScratchFolder folder_;
  RenderOptions options_;
  std::vector<Measurement> loudspeakers_;
  std::array<Samples, 2> out_;
};

TEST_F(RenderTest, SchemesConvolveAsFarAsTheyCan) {
  const Samples signal = Noise(5000, 1);
  Input(signal, signal);
  for (const size_t taps : {1U, 40U, 257U, 258U, 512U}) {
    const Samples impulse = Noise(taps, 2);
    const Samples expected = Convolved(signal, impulse);
    const auto error = [&](Scheme scheme) {
      options_.dsp.scheme = scheme;
      Play({{Sets(impulse)}, 0, {}});
      EXPECT_EQ(out_[0].size(), signal.size());
      return DifferenceDb(out_[0], expected);
    };
    EXPECT_LE(error(Scheme::kIdeal), -120) << taps;
    const double overlap_save = error(Scheme::kOverlapSave);
    EXPECT_EQ(overlap_save <= -120, taps <= 257) << taps << " taps: " << overlap_save;
    // A window before and after lets nothing but a factor through unchanged.
    const double windowed = error(Scheme::kWindowed);
    EXPECT_EQ(windowed <= -120, taps == 1) << taps << " taps: " << windowed;
  }
}

TEST_F(RenderTest, NamesTheFileThatSchemesDisagreeAbout) {
  const Samples signal = Noise(48000, 3);
  Input(signal, signal);
  Samples echo(400);
  echo[0] = 1;
  echo[399] = 0.1;  // -20 dB; of 256 samples played, 143 find it around the circle
  DspChange change = Sets(echo);
  change.right = Sets({1, 0.5}).right;
  const auto errors = Play({{change}, 0, {}}).errors;
  ASSERT_EQ(errors.size(), 3U);
  EXPECT_EQ(errors[1].channel, 0U);
  // Each of these samples has one wrong addend in the place of one that is missing.
  EXPECT_NEAR(errors[1].overlap_save_db, -20 + 10 * std::log10(2.0 * 143 / 256), 0.3);
  EXPECT_NEAR(errors[1].beyond_taps_db, -20, 0.1);
  EXPECT_LE(errors[2].overlap_save_db, -200);
  EXPECT_LT(errors[2].windowed_db, errors[1].windowed_db);
}

TEST_F(RenderTest, AChangeIsHeardAtItsBlockAndItsStepMeasured) {
  Samples tone(48000);
  for (size_t i = 0; i < tone.size(); ++i) {
    tone[i] = 0.5 * std::cos(2 * M_PI * 93.75 * static_cast<double>(i) / 48000);
  }
  Input(tone, tone);
  const size_t block = 94;  // the first that begins at half a second or later
  for (const bool fades : {false, true}) {
    options_.dsp.fades = fades;
    options_.normalises = !fades;
    const double gain = fades ? 1.0 : 2 * std::pow(10, kNormalisedPeakDb / 20);
    const RenderResult result = Play({{Sets({1}), Sets({-1}, 0.5)}, 0, {}});
    ASSERT_EQ(result.changes.size(), 2U);
    EXPECT_DOUBLE_EQ(result.changes[1].seconds, block * kHop / 48000.0);
    const Samples& out = out_[0];
    EXPECT_NEAR(out[block * kHop - 1], gain * tone[block * kHop - 1], 1e-6);
    EXPECT_NEAR(out[(block + 1) * kHop], -gain * tone[(block + 1) * kHop], 1e-6);
    const StepMeter::Step& step = result.changes[1].step;
    EXPECT_NEAR(step.step[0], LargestStep(out, block * kHop, (block + 2) * kHop), 1e-6);
    EXPECT_NEAR(step.against[0], gain * LargestStep(tone, 1000, 2000), 1e-4);
    EXPECT_EQ(step.step[0] > 2 * step.against[0], !fades);
  }
  options_.normalises = false;
  // The status turns the response off, and a channel that is not sent keeps its own.
  DspChange off;
  off.seconds = 0.25;
  off.active = false;
  DspChange left = Sets({0.5}, 0.5);
  left.right = nullptr;
  Play({{Sets({0.25}), off, left}, 0, {}});
  for (size_t channel = 0; channel < 2; ++channel) {
    EXPECT_NEAR(out_[channel][5 * kHop], 0.25 * tone[5 * kHop], 1e-6);
    EXPECT_NEAR(out_[channel][80 * kHop], tone[80 * kHop], 1e-6);
    EXPECT_NEAR(out_[channel][99 * kHop], (channel == 0 ? 0.5 : 0.25) * tone[99 * kHop], 1e-6);
  }
}

TEST_F(RenderTest, TurnsAreEquallyLoudForSpeech) {
  // Repeats within a turn, so that every turn has the same level to the digit.
  const Samples piece = Noise(4800, 4);
  Samples signal;
  for (int i = 0; i < 40; ++i) signal.insert(signal.end(), piece.begin(), piece.end());
  Input(signal, signal);
  options_.turn_seconds = 1;
  const DspTimeline bright = {{Sets({1.5, -1.2})}, 0, {}};
  const DspTimeline dull = {{Sets({0.3, 0.25})}, 0, {}};
  Play(bright, &dull);
  std::array<double, 4> level{};
  for (size_t turn = 0; turn < 4; ++turn) {
    const auto middle = out_[0].begin() + static_cast<std::ptrdiff_t>(turn * 48000 + 24000);
    const auto bins = BinsOf({middle, middle + 4800}, 4800);
    double sum = 0;
    for (size_t i = 20; i <= 800; ++i) sum += std::norm(bins[i]);  // of 10 Hz
    level[turn] = 10 * std::log10(sum);
  }
  EXPECT_NEAR(level[0], level[2], 1e-3);
  EXPECT_NEAR(level[0], level[1], 0.1);
  EXPECT_NEAR(level[2], level[3], 0.1);
  // And it is not the same that is played.
  EXPECT_GT(DifferenceDb({out_[0].begin() + 24000, out_[0].begin() + 28800},
                         {out_[0].begin() + 72000, out_[0].begin() + 76800}),
            -10);
}

TEST_F(RenderTest, CountsWhatClipsAndNormalisesItAway) {
  const Samples signal = Noise(30000, 5);
  Input(signal, signal);
  options_.format = SampleFormat::k16;
  const DspTimeline loud = {{Sets({5})}, 0, {}};
  const RenderResult clipped = Play(loud);
  size_t expected = 0;
  for (const double sample : signal) expected += std::abs(5.0 * sample) > 1 ? 2 : 0;
  EXPECT_NEAR(static_cast<double>(clipped.clipping->count()), static_cast<double>(expected), 4);
  EXPECT_EQ(clipped.clipping->stretch_count(), 1U);
  options_.normalises = true;
  const RenderResult normalised = Play(loud);
  EXPECT_EQ(normalised.clipping->count(), 0U);
  EXPECT_NEAR(normalised.clipping->peak(), std::pow(10, -1 / 20.0), 1e-9);
}

TEST_F(RenderTest, LoudspeakersKeepTheirTimeAndTheirLevelToEachOther) {
  const Samples signal = Noise(20000, 6);
  Input(signal, signal);
  Measurement left;
  left.frequency_hz = {100, 20000};
  left.magnitude_db = {80, 80};
  Measurement right = left;
  right.magnitude_db = {74, 74};
  loudspeakers_ = {left, right};
  for (const Scheme scheme : kSchemes) {
    options_.dsp.scheme = scheme;
    Play({});
    const double quieter = std::pow(10, -6 / 20.0);
    const double gain = 1 / std::sqrt((1 + quieter * quieter) / 2);
    Samples expected = signal;
    for (double& sample : expected) sample *= gain;
    EXPECT_LE(DifferenceDb(out_[0], expected), -60);
    for (double& sample : expected) sample *= quieter;
    EXPECT_LE(DifferenceDb(out_[1], expected), -60);
  }

  // The right one begins 24 samples later in its file; 1 s is no way between two speakers, and a
  // text without phase does not tell.
  Measurement impulse = left;
  impulse.impulse = {1};
  impulse.impulse_rate_hz = 48000;
  impulse.phase_degrees = {0, 0};
  impulse.delay_seconds = 0.1;
  const struct {
    Measurement left;
    double right_delay;
    size_t samples;
    const char* fault;
  } table[] = {{impulse, 0.1005, 24, ""},
               {impulse, 1.1, 0, "1000.0 ms apart"},
               {left, 0.1005, 0, "no phase"}};
  for (const auto& row : table) {
    loudspeakers_ = {row.left, impulse};
    loudspeakers_[1].delay_seconds = row.right_delay;
    const RenderResult result = Play({});
    EXPECT_THAT(result.loudspeaker_time_fault, testing::HasSubstr(row.fault));
    EXPECT_EQ(result.loudspeaker_time_fault.empty(), *row.fault == '\0');
    size_t best = 0;
    double least = 0;
    for (size_t shift = 0; shift < 48; ++shift) {
      double product = 0;
      for (size_t i = 0; i + shift < signal.size(); ++i) product += signal[i] * out_[1][i + shift];
      if (product > least) best = shift;
      least = std::max(least, product);
    }
    EXPECT_EQ(best, row.samples);
  }
}

// Not every reader of WAV knows the extensible form, nor RF64.
TEST_F(RenderTest, TheFileIsTheSimplestThatHoldsIt) {
  using Bytes = std::array<unsigned char, 22>;
  const auto header = [this](SampleFormat format, double most_frames) {
    std::FILE* const file = std::fopen(folder_.path("out.wav").c_str(), "w+b");
    AudioSink sink(file, 48000, format, most_frames);
    sink.Write({}, 0, kHop);
    sink.Finish();
    Bytes bytes{};
    std::rewind(file);
    EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
    return bytes;
  };
  for (const auto& [format, size] :
       {std::pair(SampleFormat::k16, 2), {SampleFormat::k24, 3}, {SampleFormat::kFloat, 4}}) {
    const Bytes plain = header(format, (0x1p32 - 5000) / 2 / size);
    EXPECT_EQ(std::string(plain.begin(), plain.begin() + 4), "RIFF") << size;
    EXPECT_EQ(plain[20], format == SampleFormat::kFloat ? 3 : 1) << size;  // IEEE float, PCM
    EXPECT_EQ(plain[21], 0) << size;
    EXPECT_EQ(header(format, 0x1p32 / 2 / size)[1], 'F') << size;  // "RF64"
  }
}

TEST_F(RenderTest, PlaysNoPartForTheWhole) {
  std::vector<int16_t> samples;
  for (const double sample : Noise(96000, 7)) {
    samples.push_back(static_cast<int16_t>(sample * 32767));
  }
  const std::string whole = MakeFlac(samples, 48000);
  const auto read = [this](const std::string& content) {
    folder_.Write("in.flac", content);
    AudioSource source(folder_.path("in.flac"), 48000);
    StereoHop hop;
    while (source.Read(hop) == kHop) {
    }
  };
  EXPECT_NO_THROW(read(whole));
  EXPECT_THROW(read(whole.substr(0, whole.size() / 2)), InputError);
}

TEST_F(RenderTest, ResamplesToTheDspsRate) {
  Samples tone(44100);
  for (size_t i = 0; i < tone.size(); ++i) {
    tone[i] = 0.5 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / 44100);
  }
  Input(tone, tone, 44100);
  const RenderResult result = Play({});
  EXPECT_TRUE(result.is_resampled);
  ASSERT_NEAR(static_cast<double>(out_[0].size()), 48000, 2);
  Samples expected(40000);
  for (size_t i = 0; i < expected.size(); ++i) {
    expected[i] = 0.5 * std::sin(2 * M_PI * 1000 * static_cast<double>(i + 4000) / 48000);
  }
  EXPECT_LE(DifferenceDb({out_[0].begin() + 4000, out_[0].begin() + 44000}, expected), -80);
}

}  // namespace
}  // namespace brelmo::tavi::tools
