// What is left of a stress test that found a failure: a scenario, its configuration and data files.
#pragma once

#include <filesystem>
#include <string>

#include "stress/shrink.h"

namespace brelmo::tavi::tools {

// Writes the files into the folder, and says on standard output where they are and how to play
// them. `origin` says what found the failure, `does_fail` whether `tavi run` finds it, too.
void PutScenario(const std::filesystem::path& folder, const StressSetup& setup,
                 const ShortEpisode& found, const std::string& origin, bool does_fail);

}  // namespace brelmo::tavi::tools
