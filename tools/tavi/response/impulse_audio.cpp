#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <memory>

#include <sndfile.h>

#include "console/wording.h"
#include "response/impulse_samples.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kAudioCure =
    "export the impulse response as WAV, AIFF or FLAC of 16, 24 or 32 bit";
constexpr int kLeastAudioRate = 1000;
constexpr int kMaxChannels = 64;
constexpr size_t kBlockFrames = 4096;

// A file in memory, as libsndfile reads one.
struct MemoryFile {
  std::string_view bytes;
  sf_count_t at = 0;

  static MemoryFile& Of(void* user) { return *static_cast<MemoryFile*>(user); }
  sf_count_t size() const { return static_cast<sf_count_t>(bytes.size()); }

  static sf_count_t Size(void* user) { return Of(user).size(); }
  static sf_count_t Tell(void* user) { return Of(user).at; }
  static sf_count_t Seek(sf_count_t offset, int whence, void* user) {
    MemoryFile& file = Of(user);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.at : file.size();
    // Between the two ends, and without an overflow on the way.
    file.at = base + std::clamp(offset, -base, file.size() - base);
    return file.at;
  }
  static sf_count_t Read(void* target, sf_count_t count, void* user) {
    MemoryFile& file = Of(user);
    count = std::clamp<sf_count_t>(count, 0, file.size() - file.at);
    std::memcpy(target, file.bytes.data() + file.at, static_cast<size_t>(count));
    file.at += count;
    return count;
  }
  static sf_count_t Write(const void*, sf_count_t, void*) { return 0; }
};

// "WAV, 24 bit"; empty for a coding that loses something.
std::string FormatName(int format) {
  std::string name;
  switch (format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_RF64:
      name = "WAV";
      break;
    case SF_FORMAT_AIFF:
      name = "AIFF";
      break;
    case SF_FORMAT_FLAC:
      name = "FLAC";
      break;
    default:
      return "";
  }
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return name + ", 8 bit";
    case SF_FORMAT_PCM_16:
      return name + ", 16 bit";
    case SF_FORMAT_PCM_24:
      return name + ", 24 bit";
    case SF_FORMAT_PCM_32:
      return name + ", 32 bit";
    case SF_FORMAT_FLOAT:
      return name + ", 32 bit float";
    case SF_FORMAT_DOUBLE:
      return name + ", 64 bit float";
    default:
      return "";
  }
}

// Whether the container states more bytes than there are; libsndfile takes what is there, and says
// nothing. A program that could not know the length states 0, or all that the number can hold.
bool IsContainerCut(std::string_view bytes) {
  if (bytes.size() < 8 || bytes[0] == 'f' || bytes.substr(0, 4) == "RF64") return false;
  const bool is_little = bytes.substr(0, 4) == "RIFF";
  uint32_t size = 0;
  for (size_t i = 0; i < 4; ++i) {
    size = size << 8U | static_cast<unsigned char>(bytes[is_little ? 7 - i : 4 + i]);
  }
  constexpr uint32_t kUnknown = 0x7fffff00;
  // The last byte of an odd length is filled up, which some leave out.
  return size < kUnknown && size_t{size} + 8 > bytes.size() + 1;
}

ImpulseResult Refuse(const std::string& file, const std::string& name, const std::string& message,
                     const std::string& cure) {
  ImpulseResult result;
  result.findings.push_back(
      MakeFinding(name, Severity::kError, std::nullopt, message, "the file is refused; " + cure));
  result.findings.back().file = file;
  return result;
}

}  // namespace

bool IsAudio(std::string_view bytes) {
  const std::string_view container = bytes.substr(0, 4);
  const std::string_view kind = bytes.size() >= 12 ? bytes.substr(8, 4) : "";
  if (container == "RIFF" || container == "RIFX" || container == "RF64") return kind == "WAVE";
  if (container == "FORM") return kind == "AIFF" || kind == "AIFC";
  return container == "fLaC";
}

ImpulseResult ReadImpulseAudio(const std::string& file, std::string_view bytes,
                               std::optional<size_t> channel) {
  MemoryFile memory{bytes};
  SF_VIRTUAL_IO io{MemoryFile::Size, MemoryFile::Seek, MemoryFile::Read, MemoryFile::Write,
                   MemoryFile::Tell};
  SF_INFO info{};
  const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> sound(
      sf_open_virtual(&io, SFM_READ, &info, &memory), sf_close);
  if (sound == nullptr) {
    return Refuse(file, "audio-format",
                  std::string("the audio file cannot be read: ") + Printable(sf_strerror(nullptr)),
                  kAudioCure);
  }
  ImpulseSamples impulse;
  impulse.format = FormatName(info.format);
  if (impulse.format.empty()) {
    return Refuse(file, "audio-format", "the audio is coded in a way that changes its samples",
                  kAudioCure);
  }
  if (info.samplerate < kLeastAudioRate || info.channels < 1 || info.channels > kMaxChannels) {
    return Refuse(file, "audio-format",
                  "the file has " +
                      Count(static_cast<size_t>(std::max(info.channels, 0)), "channel") + " at " +
                      std::to_string(info.samplerate) + " Hz",
                  kAudioCure);
  }
  impulse.rate_hz = info.samplerate;
  impulse.channels = static_cast<size_t>(info.channels);
  if (!channel && impulse.channels > 1) {
    return Refuse(file, "several-curves", "the file has " + Count(impulse.channels, "channel"),
                  "give --channel 1 to " + std::to_string(impulse.channels));
  }
  impulse.channel = channel.value_or(1);
  if (impulse.channel < 1 || impulse.channel > impulse.channels) {
    return Refuse(file, "unknown-channel",
                  "there is no channel " + std::to_string(impulse.channel) + " in a file of " +
                      Count(impulse.channels, "channel"),
                  "channels are counted from 1");
  }
  std::vector<double> block(kBlockFrames * impulse.channels);
  while (true) {
    const sf_count_t count = sf_readf_double(sound.get(), block.data(), kBlockFrames);
    if (count <= 0) break;
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
      const double sample = block[i * impulse.channels + impulse.channel - 1];
      if (!std::isfinite(sample)) {
        return Refuse(file, "not-a-number",
                      "sample " + std::to_string(impulse.samples.size()) + " is no number",
                      "the program that wrote it, or the file, is at fault: export it again");
      }
      impulse.samples.push_back(sample);
    }
    if (impulse.samples.size() > kMaxImpulseSamples) {
      return Refuse(file, "not-an-impulse-response",
                    "the file has more than " + std::to_string(kMaxImpulseSamples) + " samples",
                    "give an impulse response, not a recording");
    }
  }
  impulse.is_cut = static_cast<sf_count_t>(impulse.samples.size()) < info.frames ||
                   sf_error(sound.get()) != SF_ERR_NO_ERROR || IsContainerCut(bytes);
  ImpulseResult result;
  result.impulse = std::move(impulse);
  return result;
}

}  // namespace brelmo::tavi::tools
