// The built library in a host that follows every write with a model of what must be sent.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "direct_host.h"
#include "host_event.h"
#include "loaded_module.h"
#include "log_capture.h"
#include "model/engine_model.h"
#include "module_path.h"
#include "process/scratch_folder.h"

namespace brelmo::tavi::test {

using simulator::Announce;
using simulator::DirectHost;
using simulator::Hinge;
using simulator::HostEvent;
using simulator::Rotate;
using simulator::StartUsecase;
using simulator::StopUsecase;
using simulator::Withdraw;
using tools::EngineModel;
using tools::ReadModelConfig;

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
        ReadModelConfig(config), [this](const std::string& name) -> std::optional<std::string> {
          const auto found = files_.find(name);
          if (found == files_.end()) return std::nullopt;
          return found->second;
        });
  }

  std::string config_;
  std::string plain_config_;  // without the case that overlaps

 private:
  std::map<std::string, std::string> files_;
  tools::ScratchFolder folder_;
  simulator::DataFolder data_folder_{folder_.path()};
  simulator::LogCapture log_{[](const simulator::LogLine& /*line*/) {}};
};

}  // namespace brelmo::tavi::test
