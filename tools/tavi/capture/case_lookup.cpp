#include "capture/case_lookup.h"

#include <algorithm>
#include <cstring>

#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CompensationData;
using audio::compensation::TelephonySpeakerCompensation;
using simulator::DspMessage;

int32_t MessageType(const CompensationData& output) {
  return output.type == CompensationData::kLeftType ? simulator::kLeftMessage
                                                    : simulator::kRightMessage;
}

bool IsSame(const CompensationData& output, const DspMessage& message) {
  return MessageType(output) == message.type &&
         output.raw_data.size() * sizeof(float) == message.payload.size() &&
         std::memcmp(output.raw_data.data(), message.payload.data(), message.payload.size()) == 0;
}

}  // namespace

CaseLookup::CaseLookup(const std::string& config) {
  const simulator::LogCapture silence([](const simulator::LogLine&) {});
  engine_ = std::make_unique<TelephonySpeakerCompensation>(
      nullptr, TelephonySpeakerCompensation::GetConfig(config));
}

std::vector<size_t> CaseLookup::CasesOf(const simulator::DspWrite& write) const {
  const std::vector<DspMessage>& messages = write.parsed.messages;
  std::vector<size_t> found;
  if (!write.has_response()) return found;
  const auto& cases = engine_->cases();
  for (size_t i = 0; i < cases.size(); ++i) {
    const std::vector<CompensationData>& outputs = cases[i].second;
    const auto sent = std::count_if(outputs.begin(), outputs.end(),
                                    [](const auto& output) { return !output.raw_data.empty(); });
    const bool is_same =
        messages.size() == static_cast<size_t>(sent) &&
        std::all_of(messages.begin(), messages.end(), [&outputs](const DspMessage& message) {
          return std::any_of(outputs.begin(), outputs.end(),
                             [&message](const auto& output) { return IsSame(output, message); });
        });
    if (is_same) found.push_back(i);
  }
  return found;
}

std::vector<std::string> CaseLookup::FilesOf(const DspMessage& message) const {
  std::vector<std::string> files;
  for (const auto& [keys, outputs] : engine_->cases()) {
    for (const CompensationData& output : outputs) {
      if (IsSame(output, message) &&
          std::find(files.begin(), files.end(), output.file_name) == files.end()) {
        files.push_back(output.file_name);
      }
    }
  }
  return files;
}

std::vector<size_t> CaseLookup::Narrow(const std::vector<size_t>& cases,
                                       const std::string& dump) const {
  std::vector<size_t> narrowed;
  for (const size_t i : cases) {
    const std::string keys = TelephonySpeakerCompensation::ToString(engine_->cases()[i].first);
    if (dump.find("  Previous Case Keys:" + keys + "\n") != std::string::npos) {
      narrowed.push_back(i);
    }
  }
  return narrowed.empty() ? cases : narrowed;
}

}  // namespace brelmo::tavi::tools
