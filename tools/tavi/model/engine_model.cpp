#include "model/engine_model.h"

#include <cstring>

#include <algorithm>

#include <android-base/parsedouble.h>
#include <android-base/parseint.h>

namespace brelmo::tavi::tools {

namespace {

using Bytes = EngineModel::Bytes;
using simulator::HostEvent;

// Empty pieces do not count.
std::vector<std::string> Split(const std::string& text, char delimiter) {
  std::vector<std::string> pieces;
  std::string piece;
  for (const char c : text + delimiter) {
    if (c != delimiter) {
      piece += c;
    } else if (!piece.empty()) {
      pieces.push_back(std::move(piece));
      piece.clear();
    }
  }
  return pieces;
}

Bytes Message(uint32_t type, const void* payload, size_t size) {
  const uint32_t header[] = {type, static_cast<uint32_t>(size)};
  Bytes message(sizeof(header) + size);
  std::memcpy(message.data(), header, sizeof(header));
  if (size > 0) std::memcpy(message.data() + sizeof(header), payload, size);
  return message;
}

Bytes Joined(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Bytes ResponseMessage(uint32_t type, const std::vector<float>& response) {
  if (response.empty()) return {};
  return Message(type, response.data(), response.size() * sizeof(float));
}

const EngineModel::Write& StatusWrite(bool is_active) {
  const auto make = [](uint32_t status) {
    const Bytes bytes = Message(0, &status, sizeof(status));
    return EngineModel::Write{bytes, bytes};
  };
  static const EngineModel::Write writes[] = {make(0), make(1)};
  return writes[is_active ? 1 : 0];
}

EngineModel::Output ReadOutput(const std::string& name, const EngineModel::FileReader& read_file) {
  if (const auto content = read_file(name)) {
    ModelResponse data = ReadModelResponse(*content);
    if (data.fault.empty()) return {name, std::move(data.values)};
  }
  EngineModel::Output flat;
  for (int bin = 0; bin < 257; ++bin) flat.response.insert(flat.response.end(), {1.0F, 0.0F});
  return flat;
}

}  // namespace

ModelConfig ReadModelConfig(const std::string& text) {
  ModelConfig result;
  for (const std::string& case_text : Split(text, ' ')) {
    ModelConfig::Case one;
    for (const std::string& item : Split(case_text, '|')) {
      const std::vector<std::string> parts = Split(item, ':');
      if (parts.size() != 2) {
        result.malformed_item = item;
        return result;
      }
      const bool is_output = parts[0] == "LeftChannel" || parts[0] == "RightChannel";
      (is_output ? one.outputs : one.conditions).insert({parts[0], parts[1]});
    }
    result.cases.push_back(std::move(one));
  }
  return result;
}

ModelResponse ReadModelResponse(const std::string& content) {
  ModelResponse result;
  for (const std::string& line : Split(content, '\n')) {
    const std::vector<std::string> fields = Split(line, ',');
    if (fields.size() != 2) {
      result.fault = ": invalid content " + line;
      return result;
    }
    float real = 0;
    float imaginary = 0;
    if (!android::base::ParseFloat(fields[0].c_str(), &real) ||
        !android::base::ParseFloat(fields[1].c_str(), &imaginary)) {
      result.fault = ": invalid data: real=" + fields[0] + ", imaginary=" + fields[1];
      return result;
    }
    result.values.insert(result.values.end(), {real, imaginary});
  }
  return result;
}

bool EngineModel::Write::Matches(const unsigned char* data, size_t size) const {
  const auto equals = [data, size](const Bytes& expected) {
    return size == expected.size() && std::memcmp(data, expected.data(), size) == 0;
  };
  return equals(bytes) || equals(other_order);
}

EngineModel::EngineModel(const ModelConfig& config, const FileReader& read_file)
    : table_(std::make_shared<const Table>(config, read_file)) {}

EngineModel::Table::Table(const ModelConfig& config, const FileReader& read_file) {
  if (config.cases.empty()) return;
  const size_t condition_count = config.cases.front().conditions.size();
  for (const ModelConfig::Case& text : config.cases) {
    if (!ReadCase(text, condition_count, read_file)) return;
  }
  is_valid = true;
}

bool EngineModel::Table::ReadCase(const ModelConfig::Case& text, size_t condition_count,
                                  const FileReader& read_file) {
  if (text.conditions.empty() || text.conditions.size() != condition_count) return false;
  if (text.outputs.size() != 2) return false;
  Case one;
  for (const auto& [name, value] : text.conditions) {
    auto indices = ReadRule(name, value);
    if (!indices) return false;
    one.keys[name] = std::move(*indices);
  }
  one.left = ReadOutput(text.outputs.at("LeftChannel"), read_file);
  one.right = ReadOutput(text.outputs.at("RightChannel"), read_file);
  const Bytes left = ResponseMessage(16, one.left.response);
  const Bytes right = ResponseMessage(17, one.right.response);
  one.write = {Joined(left, right), Joined(right, left)};
  cases.push_back(std::move(one));
  return true;
}

std::optional<std::vector<int>> EngineModel::Table::ReadRule(const std::string& name,
                                                             const std::string& value) {
  std::vector<int> values;
  for (const std::string& piece : Split(value, ',')) {
    if (!android::base::ParseInt(piece.c_str(), &values.emplace_back())) return std::nullopt;
  }
  std::vector<int> indices;
  const auto add = [&indices](int index) {
    if (std::find(indices.begin(), indices.end(), index) == indices.end()) indices.push_back(index);
  };
  if (name == "HingeAngle") {
    if (values.size() != 2 || values[0] < 0 || values[1] > 180 || values[0] >= values[1]) {
      return std::nullopt;
    }
    const std::pair<int, int> range(values[0], values[1]);
    if (std::find(ranges.begin(), ranges.end(), range) == ranges.end()) ranges.push_back(range);
    for (const int angle : values) add(*HingeIndex(angle));
    return indices;
  }
  if (name == "ScreenRotation") {
    if (values.empty()) return std::nullopt;
    for (const int rotation : values) {
      if (rotation != 0 && rotation != 90 && rotation != 180 && rotation != 270) {
        return std::nullopt;
      }
    }
    for (const int rotation : values) {
      if (!RotationIndex(rotation)) rotations.push_back(rotation);
      add(*RotationIndex(rotation));
    }
    return indices;
  }
  return std::nullopt;
}

std::optional<int> EngineModel::Table::HingeIndex(int angle) const {
  for (size_t i = 0; i < ranges.size(); ++i) {
    if (ranges[i].first <= angle && angle <= ranges[i].second) return static_cast<int>(i);
  }
  return std::nullopt;
}

std::optional<int> EngineModel::Table::RotationIndex(int rotation) const {
  for (size_t i = 0; i < rotations.size(); ++i) {
    if (rotations[i] == rotation) return static_cast<int>(i);
  }
  return std::nullopt;
}

const EngineModel::Writes& EngineModel::Apply(const HostEvent& event) {
  writes_.clear();
  if (event.source == HostEvent::Source::kHingeAngle) {
    Hinge(event.value.value_or(0));
  } else if (event.value) {
    const auto value = static_cast<uint32_t>(*event.value);
    if (event.source == HostEvent::Source::kUsecase) {
      if (event.number == simulator::kUsecaseStarted) Add(usecases_, value);
      if (event.number == simulator::kUsecaseStopped) Remove(usecases_, value);
    } else {
      if (event.number == simulator::kValueAnnounced) Add(common_values_, value);
      if (event.number == simulator::kValueWithdrawn) Remove(common_values_, value);
      if (event.number == simulator::kScreenRotated) Rotate(*event.value);
    }
  }
  return writes_;
}

void EngineModel::Add(Values& values, uint32_t value) {
  if (std::find(values.begin(), values.end(), value) == values.end()) values.push_back(value);
  UpdateScenario();
}

void EngineModel::Remove(Values& values, uint32_t value) {
  values.erase(std::remove(values.begin(), values.end(), value), values.end());
  UpdateScenario();
}

void EngineModel::UpdateScenario() {
  const bool is_active =
      !usecases_.empty() && std::any_of(common_values_.begin(), common_values_.end(),
                                        [](uint32_t common) { return common == 5 || common == 6; });
  if (is_active == is_active_) return;
  is_active_ = is_active;
  writes_.push_back(&StatusWrite(is_active));
  Update();
}

void EngineModel::Rotate(int rotation) {
  if (rotation == rotation_) return;
  rotation_ = rotation;
  Update();
}

void EngineModel::Hinge(int angle) {
  if (angle < 0 || angle > 180 || angle == hinge_angle_) return;
  hinge_angle_ = angle;
  Update();
}

void EngineModel::Update() {
  if (!is_active_) {
    previous_ = nullptr;
    return;
  }
  const std::optional<int> hinge = table_->HingeIndex(hinge_angle_);
  const std::optional<int> rotation = table_->RotationIndex(rotation_);
  for (const Case& candidate : table_->cases) {
    const bool fits =
        std::all_of(candidate.keys.begin(), candidate.keys.end(), [&](const auto& key) {
          const std::optional<int>& index = key.first == "HingeAngle" ? hinge : rotation;
          return index && std::count(key.second.begin(), key.second.end(), *index) != 0;
        });
    // An equal case is passed over, and the search goes on behind it.
    if (!fits || (previous_ != nullptr && candidate.keys == previous_->keys)) continue;
    previous_ = &candidate;
    if (!candidate.write.bytes.empty()) writes_.push_back(&candidate.write);
    return;
  }
}

std::string EngineModel::DumpHead() const {
  return "TelephonySpeakerCompensation :\n  Optional Parameters:\n    hinge angle:" +
         std::to_string(hinge_angle_) + ", screen rotation:" + std::to_string(rotation_) +
         "\n  Supported Scenario Is Active:" + (is_active_ ? "true" : "false") +
         "\n  Previous Case Keys:" + (previous_ == nullptr ? " Null\n" : "Case Keys : {");
}

}  // namespace brelmo::tavi::tools
