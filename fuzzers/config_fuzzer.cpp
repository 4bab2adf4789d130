// Any bytes as configuration text: how it is read, and what an engine makes of it.
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz_check.h"
#include "model/engine_model.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::fuzz {

namespace {

using audio::compensation::CompensationConfig;
using audio::compensation::CompensationData;
using audio::compensation::TelephonySpeakerCompensation;
using tools::EngineModel;
using tools::ModelConfig;

// Names that a mutation comes upon by itself, and one of the first inputs.
const std::map<std::string, std::string>& Files() {
  static const std::map<std::string, std::string> files = {{"a", "0.5,-0.25\n"},
                                                           {"b", ""},
                                                           {"c", "1,2\n3,4\n"},
                                                           {"d", "1;2\n"},
                                                           {"long_name.txt", "5,6\n"}};
  return files;
}

bool IsEqual(const std::map<std::string, std::string>& expected,
             const std::unordered_map<std::string, std::string>& entries) {
  return std::map<std::string, std::string>(entries.begin(), entries.end()) == expected;
}

size_t EntriesLength(const std::map<std::string, std::string>& entries) {
  size_t length = 0;
  for (const auto& [name, value] : entries) length += name.size() + value.size() + 5;
  return length;
}

void CheckText(const CompensationConfig& config, const ModelConfig& expected, const Log& log) {
  FUZZ_CHECK(config.name == "TelephonySpeakerCompensation");
  FUZZ_CHECK(config.cases.size() == expected.cases.size());
  for (size_t i = 0; i < config.cases.size(); ++i) {
    const ModelConfig::Case& one = expected.cases[i];
    FUZZ_CHECK(IsEqual(one.outputs, config.cases[i].outputs));
    FUZZ_CHECK(IsEqual(one.conditions, config.cases[i].conditions));
    const std::string text = config.cases[i].ToString();
    FUZZ_CHECK(text.rfind("Outputs: {", 0) == 0 && text.back() == '}');
    FUZZ_CHECK(text.find("}, Conditions: {") != std::string::npos);
    FUZZ_CHECK(text.size() == 27 + EntriesLength(one.outputs) + EntriesLength(one.conditions));
  }
  FUZZ_CHECK(log.Count("GetConfiginvalid name and value ") == (expected.malformed_item ? 1 : 0));
}

// `output` is an output of the engine for the data file `name`.
void CheckOutput(const CompensationData& output, const std::string& name,
                 const EngineModel::Output& expected) {
  // A path that only ends at a file of the folder is beyond the model.
  if (Files().count(name) != 0 || output.file_name.empty()) {
    FUZZ_CHECK_EQ(output.file_name, expected.file_name);
    FUZZ_CHECK(output.raw_data == expected.response);
  } else {
    FUZZ_CHECK_EQ(output.file_name, name);
  }
}

void CheckEngine(const TelephonySpeakerCompensation& engine, const ModelConfig& text,
                 const EngineModel& model) {
  FUZZ_CHECK(engine.is_valid() == model.is_valid());
  FUZZ_CHECK(engine.cases().size() == model.cases().size());
  for (size_t i = 0; i < engine.cases().size(); ++i) {
    const auto& [keys, outputs] = engine.cases()[i];
    const EngineModel::Case& expected = model.cases()[i];
    FUZZ_CHECK(!keys.empty() && keys.size() == expected.keys.size());
    for (const auto& key : keys) {
      const auto found = expected.keys.find(key.name);
      FUZZ_CHECK(found != expected.keys.end() && key.supported_indices == found->second);
    }
    FUZZ_CHECK(outputs.size() == 2);
    FUZZ_CHECK(outputs[0].type + outputs[1].type == 1);
    for (const CompensationData& output : outputs) {
      const bool is_left = output.type == CompensationData::kLeftType;
      CheckOutput(output, text.cases[i].outputs.at(is_left ? "LeftChannel" : "RightChannel"),
                  is_left ? expected.left : expected.right);
    }
  }
}

// The dump holds what the engine holds, in its order.
void CheckDump(const TelephonySpeakerCompensation& engine, const EngineModel& model) {
  static const int fd = memfd_create("dump", MFD_CLOEXEC);
  FUZZ_CHECK(ftruncate(fd, 0) == 0 && lseek(fd, 0, SEEK_SET) == 0);
  engine.Dump(fd);
  std::string dump(static_cast<size_t>(lseek(fd, 0, SEEK_CUR)), '\0');
  FUZZ_CHECK(pread(fd, dump.data(), dump.size(), 0) == static_cast<ssize_t>(dump.size()));
  FUZZ_CHECK(dump.rfind(model.DumpHead() + "  TuningData:\n", 0) == 0);
  size_t at = 0;
  const auto expect = [&dump, &at](const std::string& text) {
    at = dump.find(text, at);
    FUZZ_CHECK(at != std::string::npos);
    at += text.size();
  };
  for (size_t i = 0; i < engine.cases().size(); ++i) {
    expect("    Case Keys [" + std::to_string(i) + "] :\n");
    expect("    Output [" + std::to_string(i) + "] :\n");
  }
  expect("  Parameter Index:\n");
  for (const auto& index : engine.indices()) expect("      " + index->ToString() + "\n");
  FUZZ_CHECK(at == dump.size());
}

void Check(const std::string& text) {
  static const Folder folder;
  static const bool is_written = [] {
    for (const auto& [name, content] : Files()) folder.Write(name, content);
    return true;
  }();
  static_cast<void>(is_written);

  const ModelConfig expected = tools::ReadModelConfig(text);
  CompensationConfig config;
  for (int reading = 0; reading < 2; ++reading) {
    const Log log;
    config = TelephonySpeakerCompensation::GetConfig(text);
    CheckText(config, expected, log);
  }
  const Log log;
  const TelephonySpeakerCompensation engine(nullptr, config);
  const EngineModel model(expected, [](const std::string& name) -> std::optional<std::string> {
    const auto found = Files().find(name);
    if (found == Files().end()) return std::nullopt;
    return found->second;
  });
  CheckEngine(engine, expected, model);
  CheckDump(engine, model);
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
