#include "diagnose/candidate.h"

#include <cstring>

#include <algorithm>
#include <map>

#include <android-base/logging.h>

#include "check/posture_text.h"
#include "check/tuning_files.h"
#include "console/wording.h"
#include "data_folder.h"
#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CompensationData;
using audio::compensation::TelephonySpeakerCompensation;

// What a logger leaves of a long line, at least.
constexpr size_t kComparedText = 900;

std::optional<simulator::DataFolder> UseFolder(const CandidateSource& source) {
  if (!source.is_recovered) return UseDataFolder(source.data_root);
  return std::optional<simulator::DataFolder>(std::in_place, "/nonexistent");
}

std::string OutputName(const audio::compensation::CaseConfig& config, std::string_view channel) {
  const auto found = config.outputs.find(std::string(channel));
  return found == config.outputs.end() ? "" : found->second;
}

}  // namespace

bool CandidateOutput::IsSentAs(const std::vector<float>* sent) const {
  const size_t size = sent == nullptr ? 0 : sent->size();
  return response.size() == size &&
         (size == 0 || std::memcmp(response.data(), sent->data(), size * sizeof(float)) == 0);
}

size_t CandidateCase::delivery_size() const {
  size_t size = 0;
  for (const CandidateOutput* const output : {&left, &right}) {
    if (!output->response.empty()) size += 8 + output->response.size() * sizeof(float);
  }
  return size;
}

std::string InitLineText(const LogMessage& message) {
  // Line ends of a log are no part of its texts, whatever a data file's lines end in.
  std::string_view said = message.text;
  while (!said.empty() && (said.back() == '\r' || said.back() == ' ')) said.remove_suffix(1);
  std::string text = std::to_string(static_cast<int>(message.event)) + " " +
                     std::to_string(message.numbers[0]) + " " + std::to_string(message.numbers[1]) +
                     " " + std::string(said.substr(0, kComparedText));
  // What hash maps hold is printed in their order.
  if (message.event == LogEvent::kInvalidCase) std::sort(text.begin(), text.end());
  return text;
}

Candidate::Candidate(const CandidateSource& source) : source_(source) {
  const auto folder = UseFolder(source);
  CheckOptions options;
  options.config_name = source.name;
  options.data_root = source.data_root;
  check_ = CheckConfig(source.text, options);

  std::optional<TelephonySpeakerCompensation> engine;
  audio::compensation::CompensationConfig config;
  {
    const android::base::ScopedLogSeverity severity(android::base::INFO);
    const simulator::LogCapture capture([this](const simulator::LogLine& line) {
      if (const auto message = ParseLogMessage(line.text, true)) {
        init_lines_.push_back(InitLineText(*message));
      }
    });
    // As init does: once to see whether there is a case, once for the engine.
    config = TelephonySpeakerCompensation::GetConfig(source.text);
    if (!config.cases.empty()) {
      engine.emplace(nullptr, TelephonySpeakerCompensation::GetConfig(source.text));
    }
  }
  std::vector<size_t> same_as;
  std::map<size_t, std::vector<Posture>> postures;
  for (const PostureResult& result : check_.postures) {
    if (result.taken) postures[*result.taken].push_back(result.posture);
    if (result.alternate) postures[*result.alternate].push_back(result.posture);
  }
  const size_t count = engine ? engine->cases().size() : 0;
  for (size_t i = 0; i < count; ++i) {
    const auto& [keys, outputs] = engine->cases()[i];
    CandidateCase found;
    found.keys = ToPostureKeys(keys);
    found.left.file_name = OutputName(config.cases[i], audio::compensation::kLeftChannel);
    found.right.file_name = OutputName(config.cases[i], audio::compensation::kRightChannel);
    for (const CompensationData& output : outputs) {
      CandidateOutput& channel =
          output.type == CompensationData::kLeftType ? found.left : found.right;
      channel.is_flat = output.file_name.empty();
      channel.response = output.raw_data;
    }
    found.same_as = CaseOfKeys(found.keys).value_or(i);
    same_as.push_back(found.same_as);
    if (postures.count(i) != 0) found.postures = DescribePostures(postures[i]);
    cases_.push_back(std::move(found));
  }
  choices_.emplace(check_.postures, same_as);
  if (engine) {
    for (const auto& index : engine->indices()) {
      DumpReader reader;
      reader.Add("TelephonySpeakerCompensation :", 1);
      reader.Add(index->ToString(), 2);
      reader.End();
      for (const Dump& dump : reader.Take()) {
        if (dump.has_hinge_index) ranges_ = dump.ranges;
      }
    }
  }
}

std::optional<size_t> Candidate::CaseOfKeys(const PostureKeys& keys) const {
  const auto found = std::find_if(cases_.begin(), cases_.end(),
                                  [&keys](const CandidateCase& one) { return one.keys == keys; });
  if (found == cases_.end()) return std::nullopt;
  return static_cast<size_t>(found - cases_.begin());
}

std::vector<size_t> Candidate::CasesOfResponses(const std::vector<float>* left,
                                                const std::vector<float>* right) const {
  std::vector<size_t> found;
  for (size_t i = 0; i < cases_.size(); ++i) {
    if (cases_[i].left.IsSentAs(left) && cases_[i].right.IsSentAs(right)) found.push_back(i);
  }
  return found;
}

std::string Candidate::DescribeCase(size_t number) const {
  const std::string& postures = cases_[number].postures;
  return "case " + std::to_string(number) + (postures.empty() ? "" : " (" + postures + ")");
}

const Finding* Candidate::AlternationFinding(size_t a, size_t b) const {
  const std::string both = CaseNumbers({std::min(a, b), std::max(a, b)}) + " both match";
  const auto found =
      std::find_if(check_.findings.begin(), check_.findings.end(), [&both](const Finding& one) {
        return one.name == "alternating-cases" && one.message.rfind(both, 0) == 0;
      });
  return found == check_.findings.end() ? nullptr : &*found;
}

}  // namespace brelmo::tavi::tools
