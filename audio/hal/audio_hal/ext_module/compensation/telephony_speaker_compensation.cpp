#define LOG_TAG "audio_hw_telephony_speaker_compensation"

#include "telephony_speaker_compensation.h"

#include <cstdio>
#include <cstring>

#include <algorithm>

#include <android-base/file.h>
#include <android-base/logging.h>
#include <android-base/parsedouble.h>
#include <android-base/parseint.h>

#include "tavi_compensation.h"
#include "tokenize.h"

namespace brelmo::tavi::audio::compensation {

namespace {

using android::base::Tokenize;

constexpr std::string_view kDataFolder = "/vendor/etc/";

// Room for 512 bins: the usual 257 are read without the vector growing.
constexpr size_t kReservedFloats = 1024;

constexpr size_t kUnityBins = 257;

constexpr std::array<float, 2 * kUnityBins> MakeUnityResponse() {
  std::array<float, 2 * kUnityBins> response{};
  for (size_t i = 0; i < response.size(); i += 2) response[i] = 1.0F;
  return response;
}

// The flat response: what a channel gets whose data file is unusable.
constexpr std::array<float, 2 * kUnityBins> kUnityResponse = MakeUnityResponse();

// DSP message types.
constexpr int32_t kLeftMessageType = 16;
constexpr int32_t kRightMessageType = 17;

// Type 0 with a payload of four bytes.
constexpr std::array<uint32_t, 2> kModuleStatusHeader = {0, 4};

// The announced common values of which one makes up the supported scenario.
constexpr std::array<uint32_t, 2> kSupportedCommonValues = {5, 6};

// Sets of active values are small; room for these many is there from the start.
constexpr size_t kReservedActiveValues = 8;

// Adds a value that is absent. False when it is there already.
bool AddValue(std::vector<uint32_t>& values, uint32_t value) {
  if (std::find(values.begin(), values.end(), value) != values.end()) return false;
  values.push_back(value);
  return true;
}

void RemoveValue(std::vector<uint32_t>& values, uint32_t value) {
  values.erase(std::remove(values.begin(), values.end(), value), values.end());
}

// Entries as "(name, value) ", in the map's order.
std::string EntriesToString(const std::unordered_map<std::string, std::string>& entries) {
  std::string text;
  for (const auto& [name, value] : entries) {
    text.append("(").append(name).append(", ").append(value).append(") ");
  }
  return text;
}

// Finds the two fields of a data line. False when there are not exactly two; as everywhere in the
// configuration, empty fields do not count.
bool SplitBin(std::string_view line, std::array<std::string_view, 2>& fields) {
  size_t count = 0;
  for (size_t begin = line.find_first_not_of(','); begin != std::string_view::npos;) {
    if (count == fields.size()) return false;
    const size_t end = std::min(line.find(',', begin), line.size());
    fields[count++] = line.substr(begin, end - begin);
    begin = line.find_first_not_of(',', end);
  }
  return count == fields.size();
}

// The posture values by number, for the table of choices: no reading and the angles; the rotations
// and one number for all other values, which no index knows.
size_t HingeState(int angle) {
  const bool is_angle = angle >= HingeAngleIndex::kMinAngle && angle <= HingeAngleIndex::kMaxAngle;
  return is_angle ? angle - HingeAngleIndex::kMinAngle + 1 : 0;
}

size_t RotationState(int rotation) {
  const auto& known = ScreenRotationIndex::kSupportedRotations;
  return std::find(known.begin(), known.end(), rotation) - known.begin();
}

// Only even counts are complex bins; a response of another size is not sent.
bool IsSendable(const CompensationData& output) {
  return !output.raw_data.empty() && output.raw_data.size() % 2 == 0;
}

size_t PayloadSize(const CompensationData& output) {
  return output.raw_data.size() * sizeof(float);
}

}  // namespace

// ---- Configuration text -------------------------------------------------------------------------

std::string CaseConfig::ToString() const {
  return "Outputs: {" + EntriesToString(outputs) + "}, Conditions: {" +
         EntriesToString(conditions) + "}";
}

CompensationConfig TelephonySpeakerCompensation::GetConfig(const std::string& config) {
  CompensationConfig result;
  result.name = kName;
  for (const std::string& case_text : Tokenize(config, " ")) {
    CaseConfig case_config;
    for (const std::string& item : Tokenize(case_text, "|")) {
      std::vector<std::string> parts = Tokenize(item, ":");
      if (parts.size() != 2) {
        // This line alone has no ": " behind the function's name; log readers know it so.
        LOG(WARNING) << __func__ << "invalid name and value " << item;
        return result;
      }
      const bool is_output = parts[0] == kLeftChannel || parts[0] == kRightChannel;
      auto& entries = is_output ? case_config.outputs : case_config.conditions;
      entries.emplace(std::move(parts[0]), std::move(parts[1]));
    }
    result.cases.push_back(std::move(case_config));
  }
  return result;
}

// ---- Data files ---------------------------------------------------------------------------------

CompensationData::CompensationData() { raw_data.reserve(kReservedFloats); }

bool CompensationData::ParseQuantityFromFile(std::string_view file_name) {
  std::string path(kDataFolder);
  path += file_name;
  std::string content;
  if (!android::base::ReadFileToString(path, &content, /*follow_symlinks=*/false)) {
    LOG(ERROR) << __func__ << ": read failed";
    return false;
  }
  // Kept over the lines: a new string for every field would cost more than its number.
  std::string real_text;
  std::string imaginary_text;
  for (std::string_view rest = content; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (line.empty()) continue;
    std::array<std::string_view, 2> fields;
    if (!SplitBin(line, fields)) {
      LOG(ERROR) << __func__ << ": invalid content " << line;
      return false;
    }
    real_text = fields[0];
    imaginary_text = fields[1];
    float real = 0.0F;
    float imaginary = 0.0F;
    if (!android::base::ParseFloat(real_text, &real) ||
        !android::base::ParseFloat(imaginary_text, &imaginary)) {
      LOG(ERROR) << __func__ << ": invalid data: real=" << real_text
                 << ", imaginary=" << imaginary_text;
      return false;
    }
    raw_data.push_back(real);
    raw_data.push_back(imaginary);
  }
  this->file_name = file_name;
  return true;
}

void CompensationData::SetRawData(const std::vector<float>& raw_data) {
  if (raw_data.size() % 2 != 0) {
    LOG(ERROR) << __func__ << ": invalid raw size " << raw_data.size();
    return;
  }
  this->raw_data = raw_data;
  LOG(INFO) << __func__ << ": set raw data size " << raw_data.size();
}

// ---- Interpretation of the configuration --------------------------------------------------------

bool TelephonySpeakerCompensation::ParseConfig(const CompensationConfig& config) {
  if (config.name.empty() || config.cases.empty()) return false;
  if (config.name != kName) {
    LOG(ERROR) << __func__ << ": invalid config name " << config.name;
    return false;
  }
  size_t condition_count = 0;
  for (const CaseConfig& case_config : config.cases) {
    // Every case has as many conditions as the first one that has any.
    if (condition_count == 0) {
      condition_count = case_config.conditions.size();
    } else if (case_config.conditions.size() != condition_count) {
      LOG(ERROR) << __func__ << ": invalid parm size, current:" << condition_count
                 << ", failed: " << case_config.conditions.size();
      return false;
    }
    for (const std::string_view channel : {kLeftChannel, kRightChannel}) {
      if (case_config.outputs.count(std::string(channel)) == 0) {
        LOG(ERROR) << __func__ << ": output " << channel << " is missed.";
        return false;
      }
    }
    CaseKeys case_keys;
    std::vector<CompensationData> data;
    if (!ParseOutput(data, case_config.outputs)) return false;
    if (case_config.conditions.empty()) {
      LOG(ERROR) << __func__ << ": invalid case " << case_config.ToString();
      return false;
    }
    for (const auto& [name, value] : case_config.conditions) {
      if (name != HingeAngleIndex::kName && name != ScreenRotationIndex::kName) {
        LOG(ERROR) << __func__ << ": invalid condition name " << name;
        return false;
      }
      if (!ParseRule(case_keys, Tokenize(value, ","), name)) return false;
    }
    if (case_keys.empty() || data.empty()) {
      LOG(ERROR) << __func__ << ": invalid case " << case_config.ToString();
      return false;
    }
    cases_.emplace_back(std::move(case_keys), std::move(data));
  }
  return true;
}

bool TelephonySpeakerCompensation::ParseOutput(
    std::vector<CompensationData>& data,
    const std::unordered_map<std::string, std::string>& outputs) {
  constexpr size_t kOutputCount = 2;
  if (outputs.size() != kOutputCount) {
    LOG(ERROR) << __func__ << ": invalid output value size: " << outputs.size();
    return false;
  }
  data.reserve(data.size() + kOutputCount);
  for (const auto& [channel, file_name] : outputs) {
    CompensationData output;
    if (channel == kLeftChannel) {
      output.type = CompensationData::kLeftType;
    } else if (channel == kRightChannel) {
      output.type = CompensationData::kRightType;
    } else {
      LOG(ERROR) << __func__ << ": invalid output value type ";
      return false;
    }
    if (!output.ParseQuantityFromFile(file_name)) {
      output.SetRawData({kUnityResponse.begin(), kUnityResponse.end()});
    }
    // Copied, not moved: a copy holds no more memory than the data needs.
    data.push_back(output);
  }
  return true;
}

bool TelephonySpeakerCompensation::ParseRule(CaseKeys& case_keys,
                                             const std::vector<std::string>& rule_data,
                                             std::string_view name) {
  const auto found = std::find_if(indices_.begin(), indices_.end(),
                                  [name](const auto& index) { return index->Match(name); });
  CompensationIndex* index = nullptr;
  if (found != indices_.end()) {
    index = found->get();
  } else {
    if (name == ScreenRotationIndex::kName) {
      indices_.push_back(std::make_unique<ScreenRotationIndex>());
    } else if (name == HingeAngleIndex::kName) {
      indices_.push_back(std::make_unique<HingeAngleIndex>());
    }
    // An unknown name goes to the index added last; ParseConfig lets none through.
    if (!indices_.empty()) index = indices_.back().get();
  }

  if (rule_data.empty()) {
    LOG(ERROR) << __func__ << ": null rule data for name " << name;
    return false;
  }
  std::vector<int> values;
  values.reserve(rule_data.size());
  for (const std::string& piece : rule_data) {
    int value = 0;
    if (!android::base::ParseInt(piece, &value)) {
      // The text says name; what is printed is the value. Log readers know the line so.
      LOG(ERROR) << __func__ << ": invalid rule data name " << piece;
      return false;
    }
    values.push_back(value);
  }
  if (values.empty()) {
    LOG(ERROR) << __func__ << ": null rule data for name " << name;
    return false;
  }
  if (index == nullptr || !index->UpdateDecisionRules(values)) {
    LOG(ERROR) << __func__ << ": unsupported rule data for name " << name;
    return false;
  }

  std::vector<int> supported_indices;
  for (const int value : values) {
    const std::optional<int> supported_index = index->GetIndex({value});
    if (!supported_index.has_value()) {
      LOG(ERROR) << __func__ << ": invalid index by " << value << " for " << name;
      return false;
    }
    if (std::find(supported_indices.begin(), supported_indices.end(), *supported_index) ==
        supported_indices.end()) {
      supported_indices.push_back(*supported_index);
    }
  }
  if (supported_indices.empty()) {
    LOG(ERROR) << __func__ << ": unable to find index in rule data ";
    return false;
  }
  case_keys.emplace_back(name, supported_indices);
  return true;
}

std::string TelephonySpeakerCompensation::CaseKey::ToString() const {
  std::string text = "Name : " + name + ", Supported Index: {";
  for (const int index : supported_indices) text += std::to_string(index) + " ";
  text += "}";
  return text;
}

std::string TelephonySpeakerCompensation::ToString(const CaseKeys& case_keys) {
  std::string text = "Case Keys : {";
  for (const CaseKey& key : case_keys) text += key.ToString() + " ";
  text += "}";
  return text;
}

// ---- State --------------------------------------------------------------------------------------

TelephonySpeakerCompensation::TelephonySpeakerCompensation(
    std::unique_ptr<TunerDelivererWrapper> tuner_deliverer, const CompensationConfig& config)
    : tuner_deliverer_(std::move(tuner_deliverer)), is_valid_(ParseConfig(config)) {
  BuildChoices();
  active_usecases_.reserve(kReservedActiveValues);
  active_common_values_.reserve(kReservedActiveValues);
}

void TelephonySpeakerCompensation::AddActiveUsecase(uint32_t usecase) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (AddValue(active_usecases_, usecase)) CheckAndUpdateSupportedScenario();
}

void TelephonySpeakerCompensation::RemoveActiveUsecase(uint32_t usecase) {
  const std::lock_guard<std::mutex> lock(mutex_);
  RemoveValue(active_usecases_, usecase);
  CheckAndUpdateSupportedScenario();
}

void TelephonySpeakerCompensation::AddActiveCommonValue(uint32_t value) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (AddValue(active_common_values_, value)) CheckAndUpdateSupportedScenario();
}

void TelephonySpeakerCompensation::RemoveActiveCommonValue(uint32_t value) {
  const std::lock_guard<std::mutex> lock(mutex_);
  RemoveValue(active_common_values_, value);
  CheckAndUpdateSupportedScenario();
}

bool TelephonySpeakerCompensation::IsSupportedScenario() const {
  // Every change of the two sets renews the decision before it gives the lock back, so the decision
  // is the predicate, and reading it is safe beside the event threads.
  return is_supported_scenario_active_.get();
}

void TelephonySpeakerCompensation::UpdateScreenRotation(int rotation) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (rotation == screen_rotation_.get()) return;
  screen_rotation_.set(rotation);
  UpdateTuningData();
}

void TelephonySpeakerCompensation::OnSensorValueChanged(int angle) {
  if (angle < HingeAngleIndex::kMinAngle || angle > HingeAngleIndex::kMaxAngle) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (angle == hinge_angle_.get()) return;
  hinge_angle_.set(angle);
  UpdateTuningData();
}

bool TelephonySpeakerCompensation::ComputeSupportedScenario() const {
  return !active_usecases_.empty() &&
         std::find_first_of(active_common_values_.begin(), active_common_values_.end(),
                            kSupportedCommonValues.begin(),
                            kSupportedCommonValues.end()) != active_common_values_.end();
}

void TelephonySpeakerCompensation::CheckAndUpdateSupportedScenario() {
  const bool active = ComputeSupportedScenario();
  if (active == is_supported_scenario_active_.get()) return;
  is_supported_scenario_active_.set(active);
  UpdateModuleStatus(active);
  UpdateTuningData();
}

void TelephonySpeakerCompensation::UpdateModuleStatus(bool active) {
  if (tuner_deliverer_ == nullptr) return;
  const uint32_t status = active ? 1 : 0;
  std::array<unsigned char, sizeof(kModuleStatusHeader) + sizeof(status)> message{};
  std::memcpy(message.data(), kModuleStatusHeader.data(), sizeof(kModuleStatusHeader));
  std::memcpy(message.data() + sizeof(kModuleStatusHeader), &status, sizeof(status));
  if (tuner_deliverer_->WriteCompensationData(message.data(), message.size())) {
    LOG(INFO) << __func__ << ": update tuning with size " << message.size();
  } else {
    LOG(ERROR) << __func__ << ": fail to update tuning.";
  }
}

// ---- Case matching ------------------------------------------------------------------------------

void TelephonySpeakerCompensation::BuildRequestedTuningParameters(TuningParameters& parameters,
                                                                  std::string_view name,
                                                                  int value) const {
  for (const auto& index : indices_) {
    if (!index->Match(name)) continue;
    if (const std::optional<int> index_value = index->GetIndex({value})) {
      parameters.emplace_back(name, *index_value);
      return;
    }
  }
}

bool TelephonySpeakerCompensation::IsMatched(const CaseKeys& case_keys,
                                             const TuningParameters& parameters) const {
  const auto is_satisfied = [&parameters](const CaseKey& key) {
    for (const auto& [name, index] : parameters) {
      // The number before the name, as it rules out most cases and costs less to compare.
      for (const int supported : key.supported_indices) {
        if (supported == index && name == key.name) return true;
      }
    }
    return false;
  };
  for (const CaseKey& key : case_keys) {
    if (!is_satisfied(key)) return false;
  }
  return true;
}

TelephonySpeakerCompensation::Choice TelephonySpeakerCompensation::MakeChoice(
    const TuningParameters& parameters) const {
  Choice choice;
  if (parameters.empty()) return choice;
  for (const Case& candidate : cases_) {
    if (!IsMatched(candidate.first, parameters)) continue;
    if (choice.first == nullptr) {
      choice.first = &candidate;
    } else if (!(candidate.first == choice.first->first)) {
      choice.other = &candidate;
      break;
    }
  }
  return choice;
}

void TelephonySpeakerCompensation::BuildChoices() {
  // The different outcomes of asking the indices, and the number of the one for a posture value.
  std::vector<TuningParameters> by_row;
  std::vector<TuningParameters> by_column;
  TuningParameters outcome;
  const auto number_of = [&](std::vector<TuningParameters>& outcomes, std::string_view name,
                             int value) {
    outcome.clear();
    BuildRequestedTuningParameters(outcome, name, value);
    const auto known = std::find(outcomes.begin(), outcomes.end(), outcome);
    const auto number = static_cast<uint8_t>(known - outcomes.begin());
    if (known == outcomes.end()) outcomes.push_back(outcome);
    return number;
  };
  rows_[HingeState(kNoHingeAngle)] = number_of(by_row, HingeAngleIndex::kName, kNoHingeAngle);
  for (int angle = HingeAngleIndex::kMinAngle; angle <= HingeAngleIndex::kMaxAngle; ++angle) {
    rows_[HingeState(angle)] = number_of(by_row, HingeAngleIndex::kName, angle);
  }
  constexpr int kUnknownRotation = -1;
  columns_[RotationState(kUnknownRotation)] =
      number_of(by_column, ScreenRotationIndex::kName, kUnknownRotation);
  for (const int rotation : ScreenRotationIndex::kSupportedRotations) {
    columns_[RotationState(rotation)] = number_of(by_column, ScreenRotationIndex::kName, rotation);
  }
  choices_.assign(by_row.size(), {});
  for (size_t row = 0; row < by_row.size(); ++row) {
    for (size_t column = 0; column < by_column.size(); ++column) {
      TuningParameters parameters = by_row[row];
      parameters.insert(parameters.end(), by_column[column].begin(), by_column[column].end());
      choices_[row][column] = MakeChoice(parameters);
    }
  }
}

const TelephonySpeakerCompensation::Case* TelephonySpeakerCompensation::ChooseCase(
    int hinge_angle, int screen_rotation, const CaseKeys* previous) const {
  const size_t row = rows_[HingeState(hinge_angle)];
  const size_t column = columns_[RotationState(screen_rotation)];
  const auto& [first, other] = choices_[row][column];
  // A case with the keys of the one last sent is passed over, not stopped at: of two cases that fit
  // one posture, successive updates send one and the other by turns. Whatever was sent last, only
  // the keys of the first case that fits can be in the way of it.
  const bool is_sent = first != nullptr && previous != nullptr &&
                       (&first->first == previous || first->first == *previous);
  return is_sent ? other : first;
}

std::vector<const TelephonySpeakerCompensation::Case*> TelephonySpeakerCompensation::MatchingCases(
    int hinge_angle, int screen_rotation) const {
  TuningParameters parameters;
  BuildRequestedTuningParameters(parameters, HingeAngleIndex::kName, hinge_angle);
  BuildRequestedTuningParameters(parameters, ScreenRotationIndex::kName, screen_rotation);
  std::vector<const Case*> matching;
  if (parameters.empty()) return matching;
  for (const Case& candidate : cases_) {
    if (IsMatched(candidate.first, parameters)) matching.push_back(&candidate);
  }
  return matching;
}

// ---- Delivery -----------------------------------------------------------------------------------

void TelephonySpeakerCompensation::UpdateTuningData() {
  if (tuner_deliverer_ == nullptr) return;
  if (!is_supported_scenario_active_.get()) {
    // Forgetting the case makes the next activation send again.
    previous_case_keys_.set(nullptr);
    return;
  }

  const CaseKeys* const previous = previous_case_keys_.get();
  const Case* const chosen = ChooseCase(hinge_angle_.get(), screen_rotation_.get(), previous);
  if (chosen == nullptr) return;
  const auto& [case_keys, outputs] = *chosen;
  if (previous == nullptr) {
    LOG(INFO) << __func__ << ": update case keys: " << ToString(case_keys);
  } else {
    LOG(INFO) << __func__ << ": update case keys: previous" << ToString(*previous) << " -> "
              << ToString(case_keys);
  }
  // Stored before anything is sent: whatever fails below is not tried again at the same posture.
  previous_case_keys_.set(&case_keys);

  if (outputs.empty()) {
    LOG(WARNING) << __func__ << ": output data is empty";
    return;
  }
  size_t total = 0;
  for (const CompensationData& output : outputs) {
    if (IsSendable(output)) total += PayloadSize(output) + kTaviMessageHeaderSize;
  }
  if (total == 0) {
    LOG(WARNING) << __func__ << ": no valid data";
    return;
  }

  // Not zeroed first: it is sent only when the messages fill it.
  const std::unique_ptr<unsigned char[]> buffer(new unsigned char[total]);
  unsigned char* cursor = buffer.get();
  for (const CompensationData& output : outputs) {
    if (!IsSendable(output)) continue;
    int32_t type = 0;
    if (output.type == CompensationData::kLeftType) {
      type = kLeftMessageType;
    } else if (output.type == CompensationData::kRightType) {
      type = kRightMessageType;
    } else {
      LOG(WARNING) << __func__ << ": invalid type";
      continue;
    }
    const size_t message_size = PayloadSize(output) + kTaviMessageHeaderSize;
    if (!PackageTaviCompensationData(cursor, message_size, type,
                                     reinterpret_cast<const unsigned char*>(output.raw_data.data()),
                                     PayloadSize(output))) {
      LOG(WARNING) << __func__ << ": fail to package data";
      return;
    }
    cursor += message_size;
  }
  const auto written = static_cast<size_t>(cursor - buffer.get());
  if (written != total) {
    LOG(INFO) << __func__ << ": invalid data " << written << ", " << total;
    return;
  }
  if (tuner_deliverer_->WriteCompensationData(buffer.get(), total)) {
    LOG(INFO) << __func__ << ": update tuning with size " << total;
  } else {
    LOG(ERROR) << __func__ << ": fail to update tuning.";
  }
}

// ---- Dump ---------------------------------------------------------------------------------------

void TelephonySpeakerCompensation::Dump(int fd) const {
  dprintf(fd, "TelephonySpeakerCompensation :\n");
  dprintf(fd, "  Optional Parameters:\n");
  dprintf(fd, "    hinge angle:%d, screen rotation:%d\n", hinge_angle_.get(),
          screen_rotation_.get());
  dprintf(fd, "  Supported Scenario Is Active:%s\n",
          is_supported_scenario_active_.get() ? "true" : "false");
  // Read once: the event threads may replace it between two readings.
  if (const CaseKeys* const previous = previous_case_keys_.get(); previous != nullptr) {
    dprintf(fd, "  Previous Case Keys:%s\n", ToString(*previous).c_str());
  } else {
    dprintf(fd, "  Previous Case Keys: Null\n");
  }
  dprintf(fd, "  TuningData:\n");
  int number = 0;
  for (const auto& [case_keys, outputs] : cases_) {
    dprintf(fd, "    Case Keys [%d] :\n", number);
    for (const CaseKey& key : case_keys) dprintf(fd, "      %s\n", key.ToString().c_str());
    dprintf(fd, "    Output [%d] :\n", number);
    for (const CompensationData& output : outputs) {
      const std::string text = "FileName: " + output.file_name +
                               ", Type:" + std::to_string(output.type) +
                               ", Data Size:" + std::to_string(output.raw_data.size());
      dprintf(fd, "      %s\n", text.c_str());
    }
    ++number;
  }
  dprintf(fd, "  Parameter Index:\n");
  for (const auto& index : indices_) dprintf(fd, "      %s\n", index->ToString().c_str());
}

}  // namespace brelmo::tavi::audio::compensation
