#include "report/report_data.h"

#include <cstdint>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <android-base/file.h>

#include "check/data_file_path.h"
#include "console/excerpt.h"
#include "console/finding_json.h"
#include "console/json_number.h"
#include "console/json_text.h"
#include "console/sha256.h"
#include "data_folder.h"
#include "dsp_message.h"
#include "log_capture.h"
#include "report/response_data.h"
#include "response/spectrum.h"
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

// ---- Cases --------------------------------------------------------------------------------------

const CompensationData& OutputOf(const std::vector<CompensationData>& outputs, int type) {
  return *std::find_if(outputs.begin(), outputs.end(),
                       [type](const CompensationData& output) { return output.type == type; });
}

Json OutputsToJson(const CaseConfig& as_read, const std::vector<CompensationData>& outputs,
                   const std::vector<DspMessage>& messages, ResponseData& responses) {
  Json array = Json::array();
  for (const Channel& channel : kChannels) {
    const CompensationData& output = OutputOf(outputs, channel.type);
    Json object = {{"channel", channel.name},
                   {"file", as_read.outputs.at(std::string(channel.output))},
                   {"state", StateOfOutput(output.file_name.empty(), output.raw_data)},
                   {"response", Json()},
                   {"message", Json()}};
    if (!output.raw_data.empty()) object["response"] = responses.Add(output.raw_data);
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

// `readable` is `as_read` without the files that have no end.
Json CasesToJson(const std::string& text, const CompensationConfig& as_read,
                 const CompensationConfig& readable,
                 const std::vector<TelephonySpeakerCompensation::Case>& in_force, double rate,
                 ResponseData& responses) {
  Json array = Json::array();
  for (const std::string& case_text : android::base::Tokenize(text, " ")) {
    const size_t number = array.size();
    Json object = {{"number", number},
                   {"text", case_text},
                   {"is_in_force", number < in_force.size()},
                   {"conditions", Json::object()},
                   {"keys", Json::array()},
                   {"outputs", Json::array()},
                   {"bytes", 0},
                   {"pair", Json()}};
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
      for (simulator::DspMessages& write : BeginCallWith(readable.cases[number])) {
        for (DspMessage& message : write.messages) {
          if (!message.is_response()) continue;
          bytes += MessageBytes(message);
          messages.push_back(std::move(message));
        }
      }
      object["outputs"] = OutputsToJson(as_read.cases[number], outputs, messages, responses);
      object["bytes"] = bytes;
      object["pair"] = PairToJson(OutputOf(outputs, CompensationData::kLeftType).raw_data,
                                  OutputOf(outputs, CompensationData::kRightType).raw_data, rate);
    }
    array.push_back(std::move(object));
  }
  return array;
}

// ---- Data files ---------------------------------------------------------------------------------

// As the module finds them; those that it would read for ever are left out.
Json DataFilesToJson(const CompensationConfig& as_read, size_t in_force,
                     const std::string& data_root) {
  Json array = Json::array();
  std::set<std::string> seen;
  for (size_t number = 0; number < in_force; ++number) {
    for (const Channel& channel : kChannels) {
      const std::string& name = as_read.cases[number].outputs.at(std::string(channel.output));
      if (!seen.insert(name).second) continue;
      std::string content;
      const bool is_read =
          !LookForEnd(DataFilePath(name, data_root)) &&
          android::base::ReadFileToString(simulator::DataFolder::kDevicePath + name, &content,
                                          /*follow_symlinks=*/false);
      array.push_back({{"file", name}, {"sha256", is_read ? Json(Sha256(content)) : Json()}});
    }
  }
  return array;
}

// ---- Postures and findings ----------------------------------------------------------------------

bool IsSameChoice(const PostureResult& a, const PostureResult& b) {
  return a.taken == b.taken && a.alternate == b.alternate && a.matching == b.matching;
}

Json OldToJson(const Against& against, size_t at) {
  const PostureResult& posture = against.old_config.postures[at];
  return {{"taken", OptionalNumber(posture.taken)},
          {"alternate", OptionalNumber(posture.alternate)},
          {"other_case", against.changes[at].is_other_case},
          {"other_sound", against.changes[at].is_other_sound}};
}

Json PosturesToJson(const std::vector<PostureResult>& postures,
                    const std::optional<Against>& against) {
  Json array = Json::array();
  for (const int rotation : ScreenRotationIndex::kSupportedRotations) {
    const PostureResult* first = nullptr;  // of the run
    for (size_t at = 0; at < postures.size(); ++at) {
      const PostureResult& posture = postures[at];
      if (posture.posture.rotation != rotation) continue;
      const auto angle = posture.posture.hinge_angle;
      const Json old = against ? OldToJson(*against, at) : Json();
      if (first != nullptr && first->posture.hinge_angle && IsSameChoice(*first, posture) &&
          (!against || array.back()["old"] == old)) {
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
      if (against) array.back()["old"] = old;
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

Json FindingsWithExcerpts(const std::vector<Finding>& findings, const std::string& text) {
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
  const CompensationConfig readable = WithoutEndlessFiles(as_read, options.check.data_root);
  const TelephonySpeakerCompensation engine(nullptr, readable);

  ResponseData responses(options.check.filter.rate);
  Json cases =
      CasesToJson(text, as_read, readable, engine.cases(), options.check.filter.rate, responses);
  Json against;
  if (options.against) against = AgainstToJson(*options.against, responses);
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
  data["version"] = TAVI_VERSION;
  data["configuration"] = {
      {"name", options.check.config_name},
      {"text", text},
      {"sha256", options.config_sha256.empty() ? Sha256(text) : options.config_sha256}};
  const std::string& data_root = options.check.data_root;
  data["data_folder"] = data_root.empty() ? simulator::DataFolder::kDevicePath : data_root;
  data["data_files"] = DataFilesToJson(as_read, engine.cases().size(), data_root);
  data["module"] = {{"context", !as_read.cases.empty()},
                    {"valid", engine.is_valid()},
                    {"cases_in_force", engine.cases().size()},
                    {"status_message", status_message}};
  data["counts"] = CountsToJson(checked.findings);
  data["rate_hz"] = options.check.filter.rate;
  data["frequency_hz"] = std::move(frequencies);
  data["cases"] = std::move(cases);
  data["responses"] = responses.Take();
  data["postures"] = PosturesToJson(checked.postures, options.against);
  if (options.against) data["against"] = std::move(against);
  data["findings"] = FindingsWithExcerpts(checked.findings, text);
  return data;
}

std::string DumpReportData(const Json& data) { return JsonText(data); }

}  // namespace brelmo::tavi::tools
