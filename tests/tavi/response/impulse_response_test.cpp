// Impulse responses of known filters, in any format, and what is no impulse response.
#include <cmath>
#include <cstdio>

#include <complex>
#include <filesystem>
#include <random>

#include <gmock/gmock.h>
#include <sndfile.h>
#include <sys/stat.h>

#include "console/input.h"
#include "process/scratch_folder.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {
namespace {

using testing::HasSubstr;

// A peak of 6 dB at 1 kHz, Q 1.
struct Biquad {
  explicit Biquad(double rate) {
    const double gain = std::pow(10.0, 6.0 / 40.0);
    const double w = 2.0 * M_PI * 1000.0 / rate;
    const double alpha = std::sin(w) / 2.0;
    b = {1.0 + alpha * gain, -2.0 * std::cos(w), 1.0 - alpha * gain};
    a = {1.0 + alpha / gain, -2.0 * std::cos(w), 1.0 - alpha / gain};
  }
  // `level` at its peak or so.
  std::vector<double> Impulse(size_t before, size_t length, double level) const {
    std::vector<double> x(length), y(length);
    x[before] = level;
    for (size_t n = 0; n < length; ++n) {
      for (size_t i = 0; i < 3 && i <= n; ++i) y[n] += b[i] * x[n - i] / a[0];
      for (size_t i = 1; i < 3 && i <= n; ++i) y[n] -= a[i] * y[n - i] / a[0];
    }
    return y;
  }
  std::complex<double> At(double hz, double rate) const {
    const std::complex<double> z = std::polar(1.0, -2.0 * M_PI * hz / rate);
    return (b[0] + z * (b[1] + z * b[2])) / (a[0] + z * (a[1] + z * a[2]));
  }
  std::vector<double> b, a;
};

class ImpulseResponseTest : public testing::Test {
 protected:
  // Interleaves the channels.
  std::string Write(const std::vector<std::vector<double>>& channels, int format, int rate) {
    std::string path = files_.path("m");
    SF_INFO info{};
    info.format = format;
    info.samplerate = rate;
    info.channels = static_cast<int>(channels.size());
    SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<double> samples;
    for (size_t i = 0; i < channels[0].size(); ++i) {
      for (const auto& channel : channels) samples.push_back(channel[i]);
    }
    EXPECT_EQ(sf_write_double(file, samples.data(), static_cast<sf_count_t>(samples.size())),
              static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    return path;
  }

  // What is read is `level` times the biquad's response, `seconds` late.
  static void ExpectBiquad(const Measurement& measurement, double rate, double level,
                           double seconds) {
    const Biquad biquad(rate);
    double worst_db = 0.0;
    double worst_degrees = 0.0;
    for (double hz = 50.0; hz <= 0.45 * 44100.0; hz *= 1.01) {
      const std::complex<double> expected =
          level * biquad.At(hz, rate) * std::polar(1.0, -2.0 * M_PI * hz * seconds);
      const std::complex<double> ratio = ResponseAt(measurement, hz) / expected;
      worst_db = std::max(worst_db, std::fabs(20.0 * std::log10(std::abs(ratio))));
      worst_degrees = std::max(worst_degrees, std::fabs(std::arg(ratio)) * 180.0 / M_PI);
      const double phase = PhaseDegreesAt(measurement, hz) * M_PI / 180.0;
      EXPECT_NEAR(std::abs(std::polar(1.0, phase) -
                           ResponseAt(measurement, hz) / std::abs(ResponseAt(measurement, hz))),
                  0.0, 1e-9);
    }
    EXPECT_LT(worst_db, 0.01);
    EXPECT_LT(worst_degrees, 0.1);
    // Unwrapped: but for the delay the filter turns by little between points.
    double last = 0.0;
    for (size_t i = 0; i < measurement.phase_degrees.size(); ++i) {
      const double phase =
          measurement.phase_degrees[i] + 360.0 * seconds * measurement.frequency_hz[i];
      EXPECT_LT(std::fabs(phase - last), 60.0);
      last = phase;
    }
  }

  std::string NamesOf(const std::string& path, const ReadOptions& options = {}) {
    std::string names;
    const ReadResult result = ReadMeasurement(path, options);
    for (const Finding& finding : result.findings) {
      EXPECT_EQ(finding.file, path);
      names += (names.empty() ? "" : " ") + finding.name;
    }
    EXPECT_EQ(result.measurement.has_value(), CountOf(result.findings, Severity::kError) == 0);
    return names;
  }

  tools::ScratchFolder files_;
};

constexpr int kWav24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24;

TEST_F(ImpulseResponseTest, AKnownFilterAtAnyRateInAnyFormat) {
  const int formats[] = {kWav24,
                         SF_FORMAT_WAV | SF_FORMAT_PCM_32,
                         SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                         SF_FORMAT_WAV | SF_FORMAT_DOUBLE,
                         SF_FORMAT_WAVEX | SF_FORMAT_PCM_24,
                         SF_FORMAT_WAVEX | SF_FORMAT_FLOAT,
                         SF_FORMAT_AIFF | SF_FORMAT_PCM_24,
                         SF_FORMAT_AIFF | SF_FORMAT_FLOAT,
                         SF_FORMAT_FLAC | SF_FORMAT_PCM_24};
  for (const int rate : {44100, 48000, 96000}) {
    const std::vector<double> impulse = Biquad(rate).Impulse(500, 2500, 0.5);
    for (const int format : formats) {
      SCOPED_TRACE(std::to_string(rate) + " Hz, format " + std::to_string(format));
      const std::string path = Write({impulse}, format, rate);
      EXPECT_EQ(NamesOf(path), "");
      // The start that is found is 16 samples early, which is known.
      const auto found = ReadMeasurement(path, {}).measurement.value();
      ExpectBiquad(found, rate, 0.5, 500.0 / rate - found.delay_seconds);
      EXPECT_EQ(found.delay_seconds, 484.0 / rate);
      EXPECT_EQ(found.frequency_hz.back(), rate / 2.0);
      if (rate == 48000) {
        // Its second half missing, which libsndfile does not mind; of FLAC it is the one block.
        const bool is_flac = (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC;
        const auto size = std::filesystem::file_size(path);
        std::filesystem::resize_file(path, size / 2);
        EXPECT_EQ(NamesOf(path), is_flac ? "no-data" : "cut-impulse-response");
        Write({impulse}, format, rate);
      }
      if (format != kWav24) continue;
      ReadOptions given;
      given.ir_start = 500;
      ExpectBiquad(ReadMeasurement(path, given).measurement.value(), rate, 0.5, 0.0);
      ReadOptions filter;
      filter.delay = DelayPolicy::kKeep;
      filter.window_ms = 0.0;
      ExpectBiquad(ReadMeasurement(path, filter).measurement.value(), rate, 0.5, 500.0 / rate);
    }
    // 16 bit, and one channel of two.
    const std::string path = Write({std::vector<double>(impulse.size(), 0.1), impulse},
                                   SF_FORMAT_WAV | SF_FORMAT_PCM_16, rate);
    EXPECT_EQ(NamesOf(path), "several-curves");
    ReadOptions second;
    second.channel = 2;
    second.ir_start = 500;
    ExpectBiquad(ReadMeasurement(path, second).measurement.value(), rate, 0.5, 0.0);
    second.channel = 3;
    EXPECT_EQ(NamesOf(path, second), "unknown-channel");
  }
}

TEST_F(ImpulseResponseTest, AsTextWithItsTimeBase) {
  const std::vector<double> impulse = Biquad(48000).Impulse(960, 4000, 0.5);
  for (const bool has_commas : {false, true}) {
    std::string text =
        "* Impulse Response data\n* Dated: 1 May\n0.5 // Peak value before normalisation\n"
        "960 // Peak index\n4000 // Response length\n2.0833333333333333E-5 // Sample interval "
        "(seconds)\n-0.02001 // Start time (seconds)\n80.0 // Data offset (dB)\n* Data start\n";
    for (const double sample : impulse) {
      char line[40];
      std::snprintf(line, sizeof(line), "%.9f\n", sample);
      text += line;
    }
    if (has_commas) {
      for (char& letter : text) letter = letter == '.' ? ',' : letter;
    }
    files_.Write("m", text);
    const auto found = ReadMeasurement(files_.path("m"), {}).measurement.value();
    EXPECT_NEAR(found.delay_seconds, 944.0 / 48000 - 0.02001, 1e-12);
    ReadOptions filter;
    filter.delay = DelayPolicy::kKeep;
    filter.window_ms = 0.0;
    // A sample's fraction early.
    ExpectBiquad(ReadMeasurement(files_.path("m"), filter).measurement.value(), 48000, 0.5,
                 -0.00001);
    files_.Write("m", text.substr(0, text.rfind('\n', text.size() / 2) + 1));
    EXPECT_EQ(NamesOf(files_.path("m")), "cut-impulse-response");
    files_.Write("m", text + "oops\n");
    const ReadResult bad = ReadMeasurement(files_.path("m"), {});
    EXPECT_EQ(bad.findings.at(0).name, "not-a-number");
    EXPECT_EQ(bad.findings.at(0).line, 4010U);
  }
  files_.Write("m", "0.5 // Peak value\n1\n0\n");
  EXPECT_EQ(NamesOf(files_.path("m")), "no-data");
}

TEST_F(ImpulseResponseTest, WhatIsRefusedOrWarnedOf) {
  constexpr size_t kLength = 48000;
  std::mt19937 engine(1);
  std::vector<double> noise(kLength), sweep(kLength);
  for (size_t n = 0; n < kLength; ++n) {
    noise[n] = std::normal_distribution<>(0.0, 0.1)(engine);
    sweep[n] = 0.5 * std::sin(2e3 * std::exp(3.0 * static_cast<double>(n) / kLength));
  }
  const std::vector<double> good = Biquad(48000).Impulse(100, kLength, 0.5);
  std::vector<double> clipped = Biquad(48000).Impulse(100, kLength, 20.0);
  for (double& sample : clipped) sample = std::fmax(std::fmin(sample, 1.0), -1.0);
  std::vector<double> ringing(300);
  for (size_t n = 0; n < ringing.size(); ++n) {
    const auto time = static_cast<double>(n);
    ringing[n] = std::exp(-0.01 * time) * std::sin(0.2 * time);
  }
  const std::vector<double> silence(kLength);
  std::vector<double> not_a_number = good;
  not_a_number[7] = NAN;
  ReadOptions late;
  late.ir_start = 110;
  ReadOptions outside;
  outside.ir_start = kLength;
  ReadOptions filter;
  filter.delay = DelayPolicy::kKeep;
  filter.window_ms = 0.0;
  ReadOptions columns;
  columns.columns = {"1", "2"};
  const struct {
    const char* names;
    const std::vector<double>& samples;
    ReadOptions options = {};
    int format = kWav24;
    int rate = 48000;
  } rows[] = {
      {"", good},
      {"not-an-impulse-response", noise},
      {"not-an-impulse-response", sweep},
      {"not-an-impulse-response", noise, filter},
      {"no-data", silence},
      {"not-a-number", not_a_number, {}, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
      {"audio-format", good, {}, SF_FORMAT_WAV | SF_FORMAT_ULAW},
      {"not-text", good, {}, SF_FORMAT_CAF | SF_FORMAT_PCM_16},
      {"range-not-covered", good, {}, kWav24, 12000},
      {"clipped-impulse-response", clipped},
      {"cut-impulse-response", ringing},
      {"", ringing, filter},
      {"cut-impulse-response", good, late},
      {"ir-start-outside", good, outside},
      {"unused-option", good, columns},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(NamesOf(Write({row.samples}, row.format, row.rate), row.options), row.names);
  }
  // A filter may be all over its length when that is short.
  noise.resize(512);
  EXPECT_EQ(NamesOf(Write({noise}, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 16000), filter), "");
  // The header of an audio file, and nothing else of it.
  std::filesystem::resize_file(Write({good}, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 48000), 30);
  EXPECT_EQ(NamesOf(files_.path("m")), "audio-format");
}

TEST_F(ImpulseResponseTest, WhatIsNoFileIsNotRead) {
  const auto why = [](const std::string& path) -> std::string {
    try {
      ReadMeasurement(path, {});
    } catch (const InputError& error) {
      return error.what();
    }
    return "";
  };
  ASSERT_EQ(mkfifo(files_.path("fifo").c_str(), 0600), 0);
  files_.Write("large", "");
  std::filesystem::resize_file(files_.path("large"), kMaxMeasurementBytes + 1);
  EXPECT_THAT(why(files_.path("fifo")), HasSubstr("fifo: is no regular file"));
  EXPECT_THAT(why("/dev/zero"), HasSubstr("is no regular file"));
  EXPECT_THAT(why(files_.path()), HasSubstr("is a folder"));
  EXPECT_THAT(why(files_.path("none")), HasSubstr("No such file"));
  EXPECT_THAT(why(files_.path("large")), HasSubstr("larger than 128 MiB"));
}

}  // namespace
}  // namespace brelmo::tavi::tools
