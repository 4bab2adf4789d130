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
  std::vector<InputFile> inputs;          // besides the audio, the scenario and the measurements
  std::vector<std::string> loudspeakers;  // files of measurements: one, or left and right
  enum class Reference { kNone, kBypass, kOld };
  Reference reference = Reference::kNone;
  std::string old_name;  // of kOld: as the user gave it
  PlaySetup old_play;
  RenderOptions render;
};

// False when samples were clipped, an expectation was not met, or the DSP was sent what it cannot
// play; the file is written all the same. Throws InputError, and as PlayScenario does.
bool WriteRender(const RenderRequest& request);

}  // namespace brelmo::tavi::tools
