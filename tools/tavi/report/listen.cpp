#include "report/listen.h"

#include <cmath>
#include <cstdint>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "console/input.h"
#include "console/wording.h"
#include "render/audio_file.h"
#include "render/dsp_player.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kMostSeconds = 4.0;
constexpr double kLeastSeconds = 1.0;

std::string Base64(const std::string& bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) {
      group = group << 8U | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (size_t k = 0; k < 4; ++k) {
      text += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63U];
    }
  }
  return text;
}

// What one or more cases are heard as.
struct Voice {
  std::vector<size_t> cases;
  // Numbers of the data's responses; none for a channel that is not sent.
  std::array<std::optional<size_t>, 2> responses;
};

struct Voices {
  std::vector<Voice> voices = {Voice()};  // bypassed
  std::vector<size_t> left_out;
};

std::vector<float> RawDataOf(const Json& response) {
  std::vector<float> raw;
  for (size_t i = 0; i < response["real"].size(); ++i) {
    for (const char* const part : {"real", "imaginary"}) {
      const Json& value = response[part][i];
      raw.push_back(value.is_null() ? NAN : value.get<float>());
    }
  }
  return raw;
}

Voices VoicesOf(const Json& data) {
  Voices found;
  for (const Json& item : data["cases"]) {
    if (!item["is_in_force"].get<bool>()) continue;
    Voice voice;
    const size_t number = item["number"];
    bool is_playable = true;
    for (const Json& output : item["outputs"]) {
      if (output["message"].is_null()) continue;
      const size_t response = output["response"];
      is_playable = is_playable && FindUnplayable(RawDataOf(data["responses"][response])).empty();
      voice.responses[output["channel"] == "left" ? 0 : 1] = response;
    }
    if (!is_playable) {
      found.left_out.push_back(number);
      continue;
    }
    const auto at =
        std::find_if(found.voices.begin() + 1, found.voices.end(),
                     [&voice](const Voice& other) { return other.responses == voice.responses; });
    if (at != found.voices.end()) {
      at->cases.push_back(number);
      continue;
    }
    voice.cases.push_back(number);
    found.voices.push_back(std::move(voice));
  }
  return found;
}

DspTimeline TimelineOf(const Voice& voice, const Json& data) {
  DspTimeline timeline;
  if (voice.cases.empty()) return timeline;
  DspChange change;
  change.active = true;
  for (size_t channel = 0; channel < 2; ++channel) {
    if (!voice.responses[channel]) continue;
    const Bins bins = BinsOfData(RawDataOf(data["responses"][*voice.responses[channel]]));
    (channel == 0 ? change.left : change.right) =
        std::make_shared<NamedFilter>(NamedFilter{MakeBlockFilter(bins), ""});
  }
  timeline.changes.push_back(std::move(change));
  return timeline;
}

using Sound = std::vector<float>;  // interleaved

Sound PlayVoice(const Voice& voice, const Json& data, const std::string& audio,
                const DspModel& model) {
  AudioSource source(audio, model.rate);
  const DspTimeline timeline = TimelineOf(voice, data);
  DspPlayer player(timeline, model, false);
  const auto most = static_cast<size_t>(kMostSeconds * model.rate);
  Sound sound;
  StereoHop in;
  StereoHop out;
  for (size_t count = kHop; count == kHop && sound.size() < 2 * most;) {
    count = source.Read(in);
    player.BeginHop();
    player.Process(in, out);
    for (size_t i = 0; i < count; ++i) {
      for (const Hop& channel : out) sound.push_back(static_cast<float>(channel[i]));
    }
  }
  sound.resize(std::min(sound.size(), 2 * most));
  return sound;
}

std::string EncodedStart(const Sound& sound, size_t frames, double gain, double rate) {
  std::vector<int16_t> samples(2 * std::min(frames, sound.size() / 2));
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] =
        static_cast<int16_t>(ToFileValue(gain * static_cast<double>(sound[i]), SampleFormat::k16));
  }
  return Base64(MakeFlac(samples, rate));
}

}  // namespace

Json MakeListen(const Json& data, const std::string& audio, size_t most_bytes) {
  const DspModel model = {Scheme::kOverlapSave, data["rate_hz"].get<double>(), false};
  const Voices found = VoicesOf(data);
  std::vector<Sound> sounds;
  float peak = 0.0F;
  for (const Voice& voice : found.voices) {
    sounds.push_back(PlayVoice(voice, data, audio, model));
    for (const float sample : sounds.back()) peak = std::max(peak, std::abs(sample));
  }
  constexpr double kMostPeak = 0.99;
  const double gain = std::min(1.0, kMostPeak / std::max(static_cast<double>(peak), 1e-9));

  size_t frames = sounds[0].size() / 2;
  std::vector<std::string> encoded(sounds.size());
  for (;;) {
    size_t size = 0;
    for (size_t i = 0; i < sounds.size(); ++i) {
      encoded[i] = EncodedStart(sounds[i], frames, gain, model.rate);
      size += encoded[i].size();
    }
    if (size <= most_bytes) break;
    constexpr double kSpare = 0.95;
    frames = static_cast<size_t>(static_cast<double>(frames) * kSpare *
                                 static_cast<double>(most_bytes) / static_cast<double>(size));
    if (static_cast<double>(frames) < kLeastSeconds * model.rate) {
      throw InputError(audio + ": of " + Count(sounds.size(), "sample") +
                       " less than a second each fits into the page; give a lower --rate, or "
                       "listen with tavi render");
    }
  }
  Json samples = Json::array();
  for (size_t i = 0; i < sounds.size(); ++i) {
    samples.push_back({{"cases", found.voices[i].cases}, {"flac", std::move(encoded[i])}});
  }
  return {{"audio", audio},
          {"rate_hz", model.rate},
          {"seconds", static_cast<double>(frames) / model.rate},
          {"scheme", SchemeName(model.scheme)},
          {"gain_db", gain < 1.0 ? ToDb(gain) : 0.0},
          {"samples", std::move(samples)},
          {"left_out", found.left_out}};
}

}  // namespace brelmo::tavi::tools
