// An engine whose inner operations tests may call, and what it sends to the DSP.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "log_recorder.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::test {

using audio::compensation::CompensationConfig;
using audio::compensation::CompensationData;
using audio::compensation::TelephonySpeakerCompensation;
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

// Without a configuration, an engine with an empty case table for the test to fill.
class TestEngine : public TelephonySpeakerCompensation {
 public:
  explicit TestEngine(std::unique_ptr<audio::TunerDelivererWrapper> deliverer,
                      const CompensationConfig& config = {})
      : TelephonySpeakerCompensation(std::move(deliverer), config) {}

  using TelephonySpeakerCompensation::AppendCase;
  using TelephonySpeakerCompensation::BuildRequestedTuningParameters;
  using TelephonySpeakerCompensation::IsMatched;
  using TelephonySpeakerCompensation::ParseOutput;
  using TelephonySpeakerCompensation::ParseRule;
  using TelephonySpeakerCompensation::TuningParameters;
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
    return engine.ParseRule(ignored, pieces, name);
  }
  void Activate() {
    engine.AddActiveCommonValue(5);
    engine.AddActiveUsecase(6);
  }
  void Deactivate() { engine.RemoveActiveUsecase(6); }

  LogRecorder log;
  std::vector<Bytes> writes;
  bool accepts = true;
  TestEngine engine{MakeDeliverer()};
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
