// The built library in a host that follows every write with a model of what must be sent.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "direct_host.h"
#include "loaded_module.h"
#include "log_capture.h"
#include "model/engine_model.h"
#include "module_path.h"
#include "temporary_folder.h"

namespace brelmo::tavi::test {

using simulator::EngineModel;
using simulator::ReadConfigText;

// One thing that a host does.
struct Event {
  enum class Kind { kAnnounce, kWithdraw, kStart, kStop, kRotate, kHinge };
  Kind kind;
  int32_t value;
};

inline void Deliver(DirectHost& host, const Event& event) {
  switch (event.kind) {
    case Event::Kind::kAnnounce:
      host.Common(2, event.value);
      break;
    case Event::Kind::kWithdraw:
      host.Common(4, event.value);
      break;
    case Event::Kind::kStart:
      host.Usecase(21, event.value);
      break;
    case Event::Kind::kStop:
      host.Usecase(22, event.value);
      break;
    case Event::Kind::kRotate:
      host.Common(8, event.value);
      break;
    case Event::Kind::kHinge:
      host.HingeAngle(event.value);
      break;
  }
}

inline const EngineModel::Writes& Expected(EngineModel& model, const Event& event) {
  const auto value = static_cast<uint32_t>(event.value);
  switch (event.kind) {
    case Event::Kind::kAnnounce:
      return model.Announce(value);
    case Event::Kind::kWithdraw:
      return model.Withdraw(value);
    case Event::Kind::kStart:
      return model.Start(value);
    case Event::Kind::kStop:
      return model.Stop(value);
    case Event::Kind::kRotate:
      return model.Rotate(event.value);
    case Event::Kind::kHinge:
      break;
  }
  return model.Hinge(event.value);
}

// The data files, and a way to the module's log lines that keeps none of them.
class EnduranceTest : public testing::Test {
 protected:
  static const hal_ext_audio_module& Module() {
    static const simulator::LoadedModule module(ModulePath());
    return module.descriptor();
  }

  // Four cases that cover every posture, and one that overlaps two of them.
  EnduranceTest() {
    for (int i = 0; i < 5; ++i) {
      const std::string number = std::to_string(i);
      WriteFile(number + "l", number + ",0.5\n-" + number + ",-0.5\n");
      WriteFile(number + "r", "0.25," + number + "\n");
      const std::string outputs = "|LeftChannel:" + number + "l|RightChannel:" + number + "r ";
      config_ += (i == 4  ? "HingeAngle:60,120|ScreenRotation:0"
                  : i < 2 ? "HingeAngle:0,90|ScreenRotation:"
                          : "HingeAngle:91,180|ScreenRotation:") +
                 std::string(i == 4       ? ""
                             : i % 2 == 0 ? "0,180"
                                          : "90,270") +
                 outputs;
      if (i == 3) plain_config_ = config_;
    }
  }

  void WriteFile(const std::string& name, const std::string& content) {
    folder_.Write(name, content);
    files_[name] = content;
  }
  std::unique_ptr<EngineModel> MakeModel(const std::string& config) const {
    return std::make_unique<EngineModel>(
        ReadConfigText(config), [this](const std::string& name) -> std::optional<std::string> {
          const auto found = files_.find(name);
          if (found == files_.end()) return std::nullopt;
          return found->second;
        });
  }

  std::string config_;
  std::string plain_config_;  // without the case that overlaps

 private:
  std::map<std::string, std::string> files_;
  TemporaryFolder folder_;
  simulator::DataFolder data_folder_{folder_.path()};
  simulator::LogCapture log_{[](const simulator::LogLine& /*line*/) {}};
};

}  // namespace brelmo::tavi::test
