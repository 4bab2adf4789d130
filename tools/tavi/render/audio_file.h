// Audio in and out, as streams: nothing is held that grows with a file's length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "render/dsp_player.h"

namespace brelmo::tavi::tools {

// Any file that libsndfile reads, in stereo at the rate that is asked for. One channel feeds both;
// of more than two the first two are taken.
class AudioSource {
 public:
  // Throws InputError.
  AudioSource(const std::string& path, double rate);
  AudioSource(const AudioSource&) = delete;
  AudioSource& operator=(const AudioSource&) = delete;
  ~AudioSource();

  int file_rate() const;
  size_t file_channels() const;
  bool is_resampled() const;
  // That come at most, as far as the file says.
  double most_frames() const;
  // The samples of each channel that come next, less than kHop at the end; zeros follow them.
  // Throws InputError for what is no number, and where a file ends before the end that it states.
  size_t Read(StereoHop& hop);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

enum class SampleFormat { k16, k24, kFloat };

// A whole number as the file has it, or more than it can have.
double ToFileValue(double sample, SampleFormat format);
// Whether the file cannot hold the sample, or, of floats, a player cannot play it.
bool IsClipped(double sample, SampleFormat format);

// A stereo WAV, of the samples and nothing else: no time, no name.
class AudioSink {
 public:
  // For no more than `most_frames`. The stream is borrowed, and must be one that can be gone back
  // in. Throws InputError.
  AudioSink(std::FILE* stream, double rate, SampleFormat format, double most_frames);
  // What a file cannot hold becomes the nearest that it can.
  void Write(const StereoHop& hop, size_t begin, size_t end);
  void Finish();

 private:
  SampleFormat format_;
  std::shared_ptr<void> file_;
};

// The interleaved samples, 16 bit, as a FLAC file.
std::string MakeFlac(const std::vector<int16_t>& samples, double rate);

}  // namespace brelmo::tavi::tools
