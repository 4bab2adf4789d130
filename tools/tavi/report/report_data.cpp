#include "report/report_data.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "check/data_file_path.h"
#include "console/excerpt.h"
#include "console/finding_json.h"
#include "dsp_message.h"
#include "log_capture.h"
#include "response/frequency_response.h"
#include "telephony_speaker_compensation.h"
#include "tokenize.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using audio::compensation::CompensationData;
using audio::compensation::kLeftChannel;
using audio::compensation::kRightChannel;
using audio::compensation::ScreenRotationIndex;
using audio::compensation::TelephonySpeakerCompensation;
using simulator::DspMessage;
using Json = nlohmann::ordered_json;

constexpr size_t kExcerptWidth = 90;

struct Channel {
  const char* name;
  std::string_view output;
  int type;
  int32_t message_type;
};

constexpr std::array<Channel, 2> kChannels = {{
    {"left", kLeftChannel, CompensationData::kLeftType, simulator::kLeftMessage},
    {"right", kRightChannel, CompensationData::kRightType, simulator::kRightMessage},
}};

// ---- What is sent -------------------------------------------------------------------------------

// Keeps what it is given, in a vector that outlives it.
class RecordingDeliverer : public audio::TunerDelivererWrapper {
 public:
  explicit RecordingDeliverer(std::vector<simulator::DspMessages>& writes) : writes_(writes) {}

  bool SendStereoSpatializerParameters(const unsigned char* /*data*/, int /*size*/,
                                       void* /*context*/) override {
    return true;
  }
  bool WriteCompensationData(const unsigned char* data, unsigned long size) override {
    writes_.push_back(simulator::ParseDspMessages(data, size));
    return true;
  }

 private:
  std::vector<simulator::DspMessages>& writes_;
};

// The messages of each write with which an engine begins a call.
std::vector<simulator::DspMessages> BeginCall(const CompensationConfig& config) {
  constexpr uint32_t kCommonValue = 5;
  constexpr uint32_t kUsecase = 6;
  std::vector<simulator::DspMessages> writes;
  TelephonySpeakerCompensation engine(std::make_unique<RecordingDeliverer>(writes), config);
  engine.AddActiveCommonValue(kCommonValue);
  engine.AddActiveUsecase(kUsecase);
  return writes;
}

// The same, with a case that has these outputs and fits the posture in which an engine begins.
std::vector<simulator::DspMessages> BeginCallWith(const CaseConfig& case_config) {
  const std::unordered_map<std::string, std::string> conditions = {
      {std::string(ScreenRotationIndex::kName), "0"}};
  return BeginCall({std::string(TelephonySpeakerCompensation::kName),
                    {CaseConfig{case_config.outputs, conditions}}});
}

size_t MessageBytes(const DspMessage& message) {
  constexpr size_t kHeaderSize = 8;
  return kHeaderSize + message.payload.size();
}

// ---- Numbers ------------------------------------------------------------------------------------

// Null for what is no finite number.
Json ToJson(double value) { return std::isfinite(value) ? Json(value) : Json(); }

// As short as a float may be written.
Json ToJson(float value) {
  if (!std::isfinite(value)) return Json();
  std::array<char, 64> text{};
  const auto written = std::to_chars(text.data(), text.data() + text.size(), value);
  double shortest = value;
  std::from_chars(text.data(), written.ptr, shortest);
  return Json(shortest);
}

// To a ten-thousandth, which is more than a float holds of a decibel or a degree.
Json Rounded(double value) {
  constexpr double kSteps = 1e4;
  const double rounded = std::round(value * kSteps) / kSteps;
  return ToJson(rounded == 0.0 ? 0.0 : rounded);  // no negative zero
}

Json RoundedArray(const std::vector<double>& values) {
  Json array = Json::array();
  for (const double value : values) array.push_back(Rounded(value));
  return array;
}

Json OptionalNumber(const std::optional<size_t>& number) { return number ? Json(*number) : Json(); }

// ---- Responses ----------------------------------------------------------------------------------

// Each response once, whichever outputs have it.
class Responses {
 public:
  // The number of the response.
  size_t Add(const std::vector<float>& raw_data) {
    // By its bytes: a NaN equals nothing, and 0 equals -0.
    std::string bytes(reinterpret_cast<const char*>(raw_data.data()),
                      raw_data.size() * sizeof(float));
    const auto [at, is_new] = numbers_.emplace(std::move(bytes), numbers_.size());
    if (is_new) {
      Json real = Json::array();
      Json imaginary = Json::array();
      for (size_t i = 0; i + 1 < raw_data.size(); i += 2) {
        real.push_back(ToJson(raw_data[i]));
        imaginary.push_back(ToJson(raw_data[i + 1]));
      }
      const FrequencyResponse response = MakeFrequencyResponse(raw_data);
      json_.push_back({{"real", std::move(real)},
                       {"imaginary", std::move(imaginary)},
                       {"magnitude_db", RoundedArray(response.magnitude_db)},
                       {"phase_degrees", RoundedArray(response.phase_degrees)}});
      most_bins_ = std::max(most_bins_, raw_data.size() / 2);
    }
    return at->second;
  }

  Json Take() { return std::move(json_); }
  size_t most_bins() const { return most_bins_; }

 private:
  std::map<std::string, size_t> numbers_;
  Json json_ = Json::array();
  size_t most_bins_ = 0;
};

// ---- Cases --------------------------------------------------------------------------------------

const char* StateOf(const CompensationData& output) {
  if (output.file_name.empty()) return "flat";
  if (output.raw_data.empty()) return "empty";
  const bool is_finite = std::all_of(output.raw_data.begin(), output.raw_data.end(),
                                     [](float value) { return std::isfinite(value); });
  return is_finite ? "file" : "not-finite";
}

Json OutputsToJson(const CaseConfig& as_read, const std::vector<CompensationData>& outputs,
                   const std::vector<DspMessage>& messages, Responses& responses) {
  Json array = Json::array();
  for (const Channel& channel : kChannels) {
    const auto output =
        std::find_if(outputs.begin(), outputs.end(),
                     [&channel](const auto& candidate) { return candidate.type == channel.type; });
    if (output == outputs.end()) continue;
    Json object = {{"channel", channel.name},
                   {"file", as_read.outputs.at(std::string(channel.output))},
                   {"state", StateOf(*output)},
                   {"response", Json()},
                   {"message", Json()}};
    if (!output->raw_data.empty()) object["response"] = responses.Add(output->raw_data);
    const auto message = std::find_if(
        messages.begin(), messages.end(),
        [&channel](const DspMessage& candidate) { return candidate.type == channel.message_type; });
    if (message != messages.end()) {
      object["message"] = {{"type", message->type},
                           {"bins", message->bin_count()},
                           {"bytes", MessageBytes(*message)}};
    }
    array.push_back(std::move(object));
  }
  return array;
}

Json CasesToJson(const std::string& text, const CompensationConfig& as_read,
                 const std::vector<TelephonySpeakerCompensation::Case>& in_force,
                 Responses& responses) {
  Json array = Json::array();
  for (const std::string& case_text : android::base::Tokenize(text, " ")) {
    const size_t number = array.size();
    Json object = {{"number", number},
                   {"text", case_text},
                   {"is_in_force", number < in_force.size()},
                   {"conditions", Json::object()},
                   {"keys", Json::array()},
                   {"outputs", Json::array()},
                   {"bytes", 0}};
    if (number < as_read.cases.size()) {
      const auto& conditions = as_read.cases[number].conditions;
      object["conditions"] =
          std::map<std::string, std::string>(conditions.begin(), conditions.end());
    }
    if (number < in_force.size()) {
      const auto& [keys, outputs] = in_force[number];
      std::vector<std::string> key_texts;
      key_texts.reserve(keys.size());
      for (const auto& key : keys) key_texts.push_back(key.ToString());
      std::sort(key_texts.begin(), key_texts.end());
      object["keys"] = std::move(key_texts);
      std::vector<DspMessage> messages;
      size_t bytes = 0;
      for (simulator::DspMessages& write : BeginCallWith(as_read.cases[number])) {
        for (DspMessage& message : write.messages) {
          if (!message.is_response()) continue;
          bytes += MessageBytes(message);
          messages.push_back(std::move(message));
        }
      }
      object["outputs"] = OutputsToJson(as_read.cases[number], outputs, messages, responses);
      object["bytes"] = bytes;
    }
    array.push_back(std::move(object));
  }
  return array;
}

// ---- Postures and findings ----------------------------------------------------------------------

bool IsSameChoice(const PostureResult& a, const PostureResult& b) {
  return a.taken == b.taken && a.alternate == b.alternate && a.matching == b.matching;
}

Json PosturesToJson(const std::vector<PostureResult>& postures) {
  Json array = Json::array();
  for (const int rotation : ScreenRotationIndex::kSupportedRotations) {
    const PostureResult* first = nullptr;  // of the run
    for (const PostureResult& posture : postures) {
      if (posture.posture.rotation != rotation) continue;
      const auto angle = posture.posture.hinge_angle;
      if (first != nullptr && first->posture.hinge_angle && IsSameChoice(*first, posture)) {
        array.back()["to"] = *angle;
        continue;
      }
      first = &posture;
      array.push_back({{"rotation", rotation},
                       {"from", angle ? Json(*angle) : Json()},
                       {"to", angle ? Json(*angle) : Json()},
                       {"taken", OptionalNumber(posture.taken)},
                       {"alternate", OptionalNumber(posture.alternate)},
                       {"matching", posture.matching}});
    }
  }
  return array;
}

Json ExcerptToJson(const Finding& finding, const std::string& text) {
  const std::string& line = finding.offset ? text : finding.line_text;
  if (finding.column == 0 || line.empty()) return Json();
  const Excerpt excerpt =
      MakeExcerpt(line, finding.offset.value_or(finding.column - 1), finding.length, kExcerptWidth);
  return {{"text", excerpt.text}, {"marker", excerpt.marker}};
}

Json FindingsToJson(const std::vector<Finding>& findings, const std::string& text) {
  Json array = Json::array();
  for (const Finding& finding : findings) {
    Json object = FindingToJson(finding);
    object["excerpt"] = ExcerptToJson(finding, text);
    array.push_back(object);
  }
  return array;
}

Json CountsToJson(const std::vector<Finding>& findings) {
  Json counts = Json::object();
  for (const Severity severity : {Severity::kError, Severity::kWarning, Severity::kNote}) {
    counts[SeverityName(severity)] = CountOf(findings, severity);
  }
  return counts;
}

}  // namespace

Json MakeReportData(const std::string& text, const ReportOptions& options) {
  const CheckResult checked = CheckConfig(text, options.check);
  const simulator::LogCapture silence([](const simulator::LogLine&) {});
  const CompensationConfig as_read = TelephonySpeakerCompensation::GetConfig(text);
  const TelephonySpeakerCompensation engine(nullptr,
                                            WithoutEndlessFiles(as_read, options.check.data_root));

  Responses responses;
  Json cases = CasesToJson(text, as_read, engine.cases(), responses);
  Json status_message;
  for (const simulator::DspMessages& write : BeginCall({})) {
    for (const DspMessage& message : write.messages) {
      status_message = {{"type", message.type}, {"bytes", MessageBytes(message)}};
    }
  }
  Json frequencies = Json::array();
  for (size_t bin = 0; bin < responses.most_bins(); ++bin) {
    frequencies.push_back(ToJson(BinFrequency(bin, options.check.filter.rate)));
  }

  Json data;
  data["generator"] = "tavi report";
  data["configuration"] = {{"name", options.check.config_name}, {"text", text}};
  data["module"] = {{"context", !as_read.cases.empty()},
                    {"valid", engine.is_valid()},
                    {"cases_in_force", engine.cases().size()},
                    {"status_message", status_message}};
  data["counts"] = CountsToJson(checked.findings);
  data["rate_hz"] = options.check.filter.rate;
  data["frequency_hz"] = std::move(frequencies);
  data["cases"] = std::move(cases);
  data["responses"] = responses.Take();
  data["postures"] = PosturesToJson(checked.postures);
  data["findings"] = FindingsToJson(checked.findings, text);
  return data;
}

std::string DumpReportData(const Json& data) {
  return data.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace brelmo::tavi::tools
