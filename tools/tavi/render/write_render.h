// A rendering, written where the user wants it, and what is said of it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "render/render.h"
#include "scenario/play.h"

namespace brelmo::tavi::tools {

struct RenderRequest {
  PlaySetup play;  // of the tuning
  std::string audio;
  std::string output;
  bool is_forced = false;
  // Besides the audio, the scenario, the measurements and the old tuning.
  std::vector<InputFile> inputs;
  std::vector<std::string> loudspeakers;  // files of measurements: one, or left and right
  bool is_against_bypass = false;
  std::string old_path;  // of the tuning it is against, see FindTuning; empty for none
  std::string old_data_root;
  RenderOptions render;
};

// False when samples were clipped, an expectation was not met, or the DSP was sent what it cannot
// play; the file is written all the same. Throws InputError, and as PlayScenario does.
bool WriteRender(const RenderRequest& request);

}  // namespace brelmo::tavi::tools
