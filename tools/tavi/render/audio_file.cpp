#include "render/audio_file.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <array>
#include <filesystem>

#include <samplerate.h>
#include <sndfile.h>

#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kBlockFrames = 4096;

// What writes go to; reads are for the header, which is completed at the end.
template <typename Target>
SNDFILE* OpenTarget(Target& target, int format, double rate, int mode) {
  SF_VIRTUAL_IO io{};
  io.get_filelen = [](void* user) { return static_cast<Target*>(user)->Size(); };
  io.seek = [](sf_count_t offset, int whence, void* user) {
    return static_cast<Target*>(user)->Seek(offset, whence);
  };
  io.read = [](void* data, sf_count_t count, void* user) {
    return static_cast<Target*>(user)->Read(data, count);
  };
  io.write = [](const void* data, sf_count_t count, void* user) {
    return static_cast<Target*>(user)->Write(data, count);
  };
  io.tell = [](void* user) { return static_cast<Target*>(user)->Tell(); };
  SF_INFO info{};
  info.samplerate = static_cast<int>(std::lround(rate));
  info.channels = 2;
  info.format = format;
  SNDFILE* const file = sf_open_virtual(&io, mode, &info, &target);
  if (file == nullptr) throw InputError(std::string("audio: ") + sf_strerror(nullptr));
  return file;
}

struct StreamTarget {
  std::FILE* stream;

  sf_count_t Size() const {
    const long at = std::ftell(stream);
    std::fseek(stream, 0, SEEK_END);
    const long size = std::ftell(stream);
    std::fseek(stream, at, SEEK_SET);
    return size;
  }
  sf_count_t Seek(sf_count_t offset, int whence) const {
    std::fseek(stream, offset, whence);
    return std::ftell(stream);
  }
  sf_count_t Read(void* data, sf_count_t count) const {
    return static_cast<sf_count_t>(std::fread(data, 1, static_cast<size_t>(count), stream));
  }
  sf_count_t Write(const void* data, sf_count_t count) const {
    return static_cast<sf_count_t>(std::fwrite(data, 1, static_cast<size_t>(count), stream));
  }
  sf_count_t Tell() const { return std::ftell(stream); }
};

struct TextTarget {
  std::string text;
  size_t at = 0;

  sf_count_t Size() const { return static_cast<sf_count_t>(text.size()); }
  sf_count_t Seek(sf_count_t offset, int whence) {
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? Tell() : Size();
    at = static_cast<size_t>(std::max<sf_count_t>(0, base + offset));
    return Tell();
  }
  sf_count_t Read(void* data, sf_count_t count) {
    const size_t size =
        std::min(static_cast<size_t>(count), text.size() - std::min(at, text.size()));
    std::memcpy(data, text.data() + at, size);
    at += size;
    return static_cast<sf_count_t>(size);
  }
  sf_count_t Write(const void* data, sf_count_t count) {
    const auto size = static_cast<size_t>(count);
    text.resize(std::max(text.size(), at + size));
    std::memcpy(text.data() + at, data, size);
    at += size;
    return count;
  }
  sf_count_t Tell() const { return static_cast<sf_count_t>(at); }
};

struct Sink {
  explicit Sink(std::FILE* stream) : target{stream} {}
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  ~Sink() {
    if (file != nullptr) sf_close(file);
  }

  StreamTarget target;
  SNDFILE* file = nullptr;
};

}  // namespace

// ---- In -----------------------------------------------------------------------------------------

struct AudioSource::State {
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
    void operator()(SRC_STATE* resampler) const { src_delete(resampler); }
  };

  // The next frames of the file in stereo; none at the end.
  long Pull(float** frames) {
    const sf_count_t count = sf_readf_float(file.get(), read.data(), kBlockFrames);
    frames_read += count;
    // Of some formats the length is stated to a few frames.
    constexpr sf_count_t kRoom = kBlockFrames;
    is_damaged = is_damaged || sf_error(file.get()) != SF_ERR_NO_ERROR ||
                 (count == 0 && frames_read + kRoom < info.frames);
    const auto channels = static_cast<size_t>(info.channels);
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
      for (size_t channel = 0; channel < 2; ++channel) {
        const float sample = read[i * channels + std::min(channel, channels - 1)];
        if (!std::isfinite(sample)) has_nonsense = true;
        stereo[2 * i + channel] = std::isfinite(sample) ? sample : 0.0F;
      }
    }
    *frames = stereo.data();
    return static_cast<long>(count);
  }

  std::string path;
  SF_INFO info{};
  std::unique_ptr<SNDFILE, Close> file;
  std::unique_ptr<SRC_STATE, Close> resampler;
  double ratio = 1.0;
  std::vector<float> read;
  std::vector<float> stereo;
  size_t at = 0;      // in `stereo`, without a resampler
  size_t filled = 0;  // frames of it
  sf_count_t frames_read = 0;
  bool has_nonsense = false;
  bool is_damaged = false;
};

AudioSource::AudioSource(const std::string& path, double rate) : state_(std::make_unique<State>()) {
  State& state = *state_;
  state.path = path;
  std::error_code error;
  if (!std::filesystem::exists(path, error)) throw InputError(path + ": there is no such file");
  if (!std::filesystem::is_regular_file(path, error)) {
    throw InputError(path + ": is no file, and audio is read more than once");
  }
  state.file.reset(sf_open(path.c_str(), SFM_READ, &state.info));
  if (!state.file) {
    throw InputError(path + ": cannot be read as audio: " + sf_strerror(nullptr) +
                     "; WAV, AIFF and FLAC are safe");
  }
  constexpr int kMostChannels = 64;
  if (state.info.channels > kMostChannels || state.info.samplerate < 1000) {
    throw InputError(path + ": has " + Count(static_cast<size_t>(state.info.channels), "channel") +
                     " at " + std::to_string(state.info.samplerate) + " Hz");
  }
  if (state.info.frames < 1) throw InputError(path + ": holds no samples");
  state.read.resize(kBlockFrames * file_channels());
  state.stereo.resize(kBlockFrames * 2);
  state.ratio = rate / state.info.samplerate;
  if (!is_resampled()) return;
  if (src_is_valid_ratio(state.ratio) == 0) {
    throw InputError(path + ": cannot be resampled from " + std::to_string(state.info.samplerate) +
                     " Hz to " + std::to_string(std::lround(rate)) + " Hz");
  }
  int code = 0;
  state.resampler.reset(src_callback_new(
      [](void* user, float** frames) { return static_cast<State*>(user)->Pull(frames); },
      SRC_SINC_MEDIUM_QUALITY, 2, &code, &state));
  if (!state.resampler) throw InputError(path + ": " + src_strerror(code));
}

AudioSource::~AudioSource() = default;

int AudioSource::file_rate() const { return state_->info.samplerate; }
size_t AudioSource::file_channels() const { return static_cast<size_t>(state_->info.channels); }
bool AudioSource::is_resampled() const { return std::abs(state_->ratio - 1.0) > 1e-12; }
double AudioSource::most_frames() const {
  return std::ceil(static_cast<double>(state_->info.frames) * state_->ratio) + kHop;
}

size_t AudioSource::Read(StereoHop& hop) {
  State& state = *state_;
  std::array<float, 2 * kHop> frames;
  size_t count = 0;
  if (state.resampler) {
    // It may give less than it is asked for before the end.
    while (count < kHop) {
      const long more =
          src_callback_read(state.resampler.get(), state.ratio, static_cast<long>(kHop - count),
                            frames.data() + 2 * count);
      if (more <= 0) break;
      count += static_cast<size_t>(more);
    }
  } else {
    for (; count < kHop; ++count) {
      if (state.at == state.filled) {
        float* pulled = nullptr;
        state.filled = static_cast<size_t>(state.Pull(&pulled));
        state.at = 0;
        if (state.filled == 0) break;
      }
      std::copy_n(&state.stereo[2 * state.at++], 2, &frames[2 * count]);
    }
  }
  if (state.has_nonsense) {
    throw InputError(state.path + ": holds samples that are no numbers; export it again");
  }
  if (state.is_damaged) {
    const double rate = state.info.samplerate;
    throw InputError(state.path +
                     Format(": is damaged, or cut: %.3f s of the %.3f s that it states can be read",
                            static_cast<double>(state.frames_read) / rate,
                            static_cast<double>(state.info.frames) / rate) +
                     "; copy or export it again");
  }
  for (size_t i = 0; i < kHop; ++i) {
    for (size_t channel = 0; channel < 2; ++channel) {
      hop[channel][i] = i < count ? static_cast<double>(frames[2 * i + channel]) : 0.0;
    }
  }
  return count;
}

// ---- Out ----------------------------------------------------------------------------------------

double ToFileValue(double sample, SampleFormat format) {
  switch (format) {
    case SampleFormat::k16:
      return std::nearbyint(sample * 0x1p15);
    case SampleFormat::k24:
      return std::nearbyint(sample * 0x1p23);
    case SampleFormat::kFloat:
      break;
  }
  return sample;
}

bool IsClipped(double sample, SampleFormat format) {
  const double value = ToFileValue(sample, format);
  switch (format) {
    case SampleFormat::k16:
      return value > 0x1p15 - 1 || value < -0x1p15;
    case SampleFormat::k24:
      return value > 0x1p23 - 1 || value < -0x1p23;
    case SampleFormat::kFloat:
      break;
  }
  return std::abs(value) > 1.0;
}

AudioSink::AudioSink(std::FILE* stream, double rate, SampleFormat format, double most_frames)
    : format_(format) {
  if (std::fseek(stream, 0, SEEK_SET) != 0) {
    throw InputError("a WAV file's first bytes tell its length: name a file, not a pipe, with -o");
  }
  const int subformat = format == SampleFormat::k16   ? SF_FORMAT_PCM_16
                        : format == SampleFormat::k24 ? SF_FORMAT_PCM_24
                                                      : SF_FORMAT_FLOAT;
  const size_t sample_size = format == SampleFormat::k16 ? 2 : format == SampleFormat::k24 ? 3 : 4;
  // A WAV's lengths have 32 bits, the header's own counted. RF64 has more, but a header that not
  // every reader of WAV knows, also where it turns out to be short.
  constexpr double kMostBytes = 0x1p32 - 4096;
  const bool fits = most_frames * 2.0 * static_cast<double>(sample_size) < kMostBytes;
  const auto sink = std::make_shared<Sink>(stream);
  sink->file = OpenTarget(sink->target, (fits ? SF_FORMAT_WAV : SF_FORMAT_RF64) | subformat, rate,
                          SFM_WRITE);
  sf_command(sink->file, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);  // it holds the time
  file_ = sink;
}

void AudioSink::Write(const StereoHop& hop, size_t begin, size_t end) {
  SNDFILE* const file = static_cast<Sink*>(file_.get())->file;
  const auto frames = static_cast<sf_count_t>(end - begin);
  std::array<float, 2 * kHop> floats;
  std::array<int, 2 * kHop> numbers;
  // libsndfile takes whole numbers from the top of an int.
  const int shift = format_ == SampleFormat::k16 ? 16 : 8;
  const double most = std::exp2(31 - shift);
  for (size_t i = begin; i < end; ++i) {
    for (size_t channel = 0; channel < 2; ++channel) {
      const double value = ToFileValue(hop[channel][i], format_);
      const size_t at = 2 * (i - begin) + channel;
      if (format_ == SampleFormat::kFloat) {
        floats[at] = static_cast<float>(value);
      } else {
        numbers[at] = static_cast<int>(std::clamp(value, -most, most - 1)) * (1 << shift);
      }
    }
  }
  errno = 0;
  const sf_count_t written = format_ == SampleFormat::kFloat
                                 ? sf_writef_float(file, floats.data(), frames)
                                 : sf_writef_int(file, numbers.data(), frames);
  if (written != frames) {
    // The stream's reason; libsndfile knows of none.
    throw InputError(std::string("the audio file could not be written in full: ") +
                     (errno != 0 ? std::strerror(errno) : sf_strerror(file)));
  }
}

void AudioSink::Finish() { file_.reset(); }

std::string MakeFlac(const std::vector<int16_t>& samples, double rate) {
  TextTarget target;
  SNDFILE* const file = OpenTarget(target, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, rate, SFM_WRITE);
  double level = 1.0;  // the most thorough
  sf_command(file, SFC_SET_COMPRESSION_LEVEL, &level, sizeof(level));
  sf_writef_short(file, samples.data(), static_cast<sf_count_t>(samples.size() / 2));
  sf_close(file);
  return std::move(target.text);
}

}  // namespace brelmo::tavi::tools
