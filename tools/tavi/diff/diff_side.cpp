#include "diff/diff_side.h"

#include <cmath>

#include <algorithm>
#include <utility>

#include "capture/capture_file.h"
#include "capture/capture_rules.h"
#include "check/known_names.h"
#include "check/tuning_files.h"
#include "console/input.h"
#include "console/sha256.h"
#include "log_capture.h"
#include "response/import_correction.h"
#include "response/measurement_reader.h"
#include "response/number_text.h"
#include "response/text_encoding.h"
#include "telephony_speaker_compensation.h"
#include "tokenize.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CompensationData;
using audio::compensation::ScreenRotationIndex;
using audio::compensation::TelephonySpeakerCompensation;

bool IsConfig(const std::string& text) {
  return text.find(':') != std::string::npos &&
         std::any_of(kChannelNames.begin(), kChannelNames.end(), [&text](std::string_view name) {
           return text.find(name) != std::string::npos;
         });
}

// As many bins as the DSP has, "real,imaginary", and no table over rising frequencies.
std::optional<std::vector<Complex>> ReadDataFile(const std::string& text) {
  std::vector<Complex> bins;
  bool is_rising = true;
  LineCursor lines(text);
  for (TextLine line; lines.Next(&line);) {
    const size_t comma = line.text.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    const auto real = ParseNumber(TrimBlanks(line.text.substr(0, comma)), {});
    const auto imaginary = ParseNumber(TrimBlanks(line.text.substr(comma + 1)), {});
    if (!real || !imaginary) return std::nullopt;
    is_rising = is_rising && (bins.empty() || *real > bins.back().real());
    bins.emplace_back(*real, *imaginary);
  }
  if (bins.size() != kBinCount || is_rising) return std::nullopt;
  return bins;
}

SideResponse ReadResponse(const std::string& path, const std::string& content, double rate) {
  if (auto bins = ReadDataFile(content)) return {std::move(*bins)};
  const ReadResult read = ReadMeasurementBytes(path, content, FilterReading());
  if (!read.measurement) {
    for (const Finding& finding : read.findings) {
      if (finding.severity != Severity::kError) continue;
      throw InputError(path + ": is no configuration, capture or data file, and as a response: " +
                       finding.message);
    }
  }
  ImportOptions options;
  options.rate = rate;
  return {ImportCorrection(*read.measurement, options).bins};
}

SideCapture ReadCapture(const std::string& path, const std::string& content) {
  SideCapture capture;
  std::optional<simulator::DspMessages::Damage> damage;  // the first
  const DeliveryHandler take = [&](const CapturedDelivery& delivery) {
    if (!damage) damage = delivery.damage;
    for (const simulator::DspMessage& message : delivery.messages) {
      if (!message.is_response()) continue;
      auto& known = capture.responses[message.type == simulator::kLeftMessage ? 0 : 1];
      SideChannel channel{"", message.Response(), false};
      if (std::none_of(known.begin(), known.end(), [&channel](const auto& other) {
            return IsSameData(other.data, channel.data);
          })) {
        known.push_back(std::move(channel));
      }
    }
  };
  InputStream stream(path, content);
  const auto end = LooksLikePcapng(content) ? ReadPcapng(stream, take) : ReadMessages(stream, take);
  if (!damage) damage = end;
  if (damage) {
    throw InputError(path + ": from byte " + std::to_string(damage->offset) +
                     " on it is no capture: " + damage->reason);
  }
  if (capture.responses[0].empty() && capture.responses[1].empty()) {
    throw InputError(path +
                     ": is a capture without responses: nothing of it can be compared; "
                     "capture a call in which the hinge reports");
  }
  return capture;
}

}  // namespace

bool IsSameData(const std::vector<float>& a, const std::vector<float>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float left, float right) {
    return left == right || (std::isnan(left) && std::isnan(right));
  });
}

Side ReadSide(const SideOptions& options, double rate) {
  TuningFiles tuning = FindTuning(options.path, options.data_root);
  const bool is_folder = tuning.path != options.path;
  std::string content = ReadFile(tuning.path, kMaxMeasurementBytes);
  if (is_folder || (!IsCapture(content) && IsConfig(content))) {
    std::string sha256 = Sha256(content);
    tuning = WithText(std::move(tuning), std::move(content));
    SideConfig config = ReadSideConfig(std::move(tuning.text), tuning.data_root);
    config.path = std::move(tuning.path);
    config.sha256 = std::move(sha256);
    return config;
  }
  if (IsCapture(content)) return ReadCapture(options.path, content);
  return ReadResponse(options.path, content, rate);
}

SideConfig ReadSideConfig(std::string text, const std::string& data_root) {
  RequireFiniteDataFiles(text, data_root);
  const auto in_force = UseDataFolder(data_root);
  const simulator::LogCapture silence([](const simulator::LogLine&) {});
  const auto read = TelephonySpeakerCompensation::GetConfig(text);
  const TelephonySpeakerCompensation engine(nullptr, read);

  SideConfig config;
  const std::vector<std::string> texts = android::base::Tokenize(text, " ");
  config.written = texts.size();
  config.postures = ProbePostures(engine);
  config.data_root = data_root;
  for (size_t i = 0; i < engine.cases().size(); ++i) {
    const std::vector<CompensationData>& outputs = engine.cases()[i].second;
    SideCase a_case;
    a_case.text = texts[i];
    a_case.conditions = {read.cases[i].conditions.begin(), read.cases[i].conditions.end()};
    for (const auto& [name, value] : a_case.conditions) {
      std::vector<std::string> values = android::base::Tokenize(value, ",");
      if (name == ScreenRotationIndex::kName) std::sort(values.begin(), values.end());
      a_case.rules[name] = std::move(values);
    }
    for (const CompensationData& output : outputs) {
      const size_t channel = output.type == CompensationData::kLeftType ? 0 : 1;
      a_case.channels[channel] = {read.cases[i].outputs.at(std::string(kChannelNames[channel])),
                                  output.raw_data, output.file_name.empty()};
    }
    config.cases.push_back(std::move(a_case));
  }
  config.text = std::move(text);
  return config;
}

}  // namespace brelmo::tavi::tools
