// What is left of a stress test that found a failure: a scenario, its configuration and data files.
#pragma once

#include <string>

#include "console/output.h"
#include "stress/shrink.h"

namespace brelmo::tavi::tools {

// Puts the files into the folder and that in its place, and says on standard output where they are
// and how to play them. `origin` says what found the failure, `does_fail` whether `tavi run` finds
// it, too.
void PutScenario(OutputFolder& output, const StressSetup& setup, const ShortEpisode& found,
                 const std::string& origin, bool does_fail);

}  // namespace brelmo::tavi::tools
