// An engine, its inner operations and what it sends to the DSP, for tests.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "log_recorder.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::audio::compensation {

// The inside of an engine, for the tests of its parts.
class TelephonySpeakerCompensationPeer {
 public:
  using Engine = TelephonySpeakerCompensation;
  using TuningParameters = Engine::TuningParameters;

  explicit TelephonySpeakerCompensationPeer(Engine& engine) : engine_(engine) {}

  bool ParseRule(Engine::CaseKeys& case_keys, const std::vector<std::string>& rule_data,
                 std::string_view name) {
    const bool is_parsed = engine_.ParseRule(case_keys, rule_data, name);
    engine_.BuildChoices();
    return is_parsed;
  }
  bool ParseOutput(std::vector<CompensationData>& data,
                   const std::unordered_map<std::string, std::string>& outputs) {
    return engine_.ParseOutput(data, outputs);
  }
  void AppendCase(const Engine::CaseKeys& case_keys, const std::vector<CompensationData>& outputs) {
    engine_.cases_.emplace_back(case_keys, outputs);
    engine_.BuildChoices();
  }
  TuningParameters BuildRequestedTuningParameters(int hinge_angle, int screen_rotation) const {
    TuningParameters parameters;
    engine_.BuildRequestedTuningParameters(parameters, HingeAngleIndex::kName, hinge_angle);
    engine_.BuildRequestedTuningParameters(parameters, ScreenRotationIndex::kName, screen_rotation);
    return parameters;
  }
  bool IsMatched(const Engine::CaseKeys& case_keys, const TuningParameters& parameters) const {
    return engine_.IsMatched(case_keys, parameters);
  }
  const Engine::CaseKeys* previous_case_keys() const { return engine_.previous_case_keys_.get(); }

 private:
  Engine& engine_;
};

}  // namespace brelmo::tavi::audio::compensation

namespace brelmo::tavi::test {

using audio::compensation::CompensationConfig;
using audio::compensation::CompensationData;
using audio::compensation::TelephonySpeakerCompensation;
using EnginePeer = audio::compensation::TelephonySpeakerCompensationPeer;
using CaseKey = TelephonySpeakerCompensation::CaseKey;
using CaseKeys = TelephonySpeakerCompensation::CaseKeys;
using Bytes = std::vector<unsigned char>;

// Answers each write with what the function returns.
class FunctionDeliverer final : public audio::TunerDelivererWrapper {
 public:
  explicit FunctionDeliverer(std::function<bool(Bytes)> receive) : receive_(std::move(receive)) {}

  bool SendStereoSpatializerParameters(const unsigned char*, int, void*) override { return false; }
  bool WriteCompensationData(const unsigned char* data, unsigned long size) override {
    return receive_(Bytes(data, data + size));
  }

 private:
  std::function<bool(Bytes)> receive_;
};

// An engine with a DSP that keeps what it is sent, and the log of both.
struct EngineBench {
  EngineBench() = default;
  explicit EngineBench(const std::string& config)
      : engine(MakeDeliverer(), TelephonySpeakerCompensation::GetConfig(config)) {}

  std::unique_ptr<audio::TunerDelivererWrapper> MakeDeliverer() {
    return std::make_unique<FunctionDeliverer>([this](Bytes bytes) {
      writes.push_back(std::move(bytes));
      return accepts;
    });
  }
  // The writes since the last call.
  std::vector<Bytes> TakeWrites() { return std::exchange(writes, {}); }

  // Makes the index of `name` if need be and declares a rule to it.
  bool Declare(const std::string& name, const std::vector<std::string>& pieces) {
    CaseKeys ignored;
    return inside.ParseRule(ignored, pieces, name);
  }
  void Activate() {
    engine.AddActiveCommonValue(5);
    engine.AddActiveUsecase(6);
  }
  void Deactivate() { engine.RemoveActiveUsecase(6); }

  LogRecorder log;
  std::vector<Bytes> writes;
  bool accepts = true;
  TelephonySpeakerCompensation engine{MakeDeliverer(), {}};
  EnginePeer inside{engine};
};

inline CompensationData MakeOutput(int type, const std::vector<float>& raw_data) {
  CompensationData output;
  output.raw_data = raw_data;
  output.type = type;
  return output;
}

inline const Bytes kStatusActive = {0, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0};
inline const Bytes kStatusInactive = {0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0};

// A DSP message, whole.
inline Bytes ResponseMessage(unsigned char type, const std::vector<float>& raw_data) {
  const size_t size = raw_data.size() * sizeof(float);
  Bytes message = {
      type, 0, 0, 0, static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8), 0, 0};
  message.resize(message.size() + size);
  std::memcpy(message.data() + message.size() - size, raw_data.data(), size);
  return message;
}

}  // namespace brelmo::tavi::test
