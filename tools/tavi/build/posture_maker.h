// From a posture of a source to its data files.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "build/project.h"
#include "build/source_files.h"
#include "console/finding.h"
#include "response/curve.h"

namespace brelmo::tavi::tools {

// What a channel's correction does, for a page: in dB relative to the measured level in the range,
// all but the mask on one grid.
struct ChannelCurves {
  std::vector<double> hz;
  std::vector<double> measured_db;  // smoothed as for the design
  std::vector<double> target_db;
  std::vector<double> correction_db;  // the file's gain
  std::vector<double> corrected_db;
  Range corrected;
  std::string mask;  // its name; empty for none
  Curve mask_upper;  // at the level at which the corrected response lies best in it
  Curve mask_lower;
  double margin_before_db = 0.0;
  double margin_after_db = 0.0;
};

struct MadeChannel {
  std::string content;  // of the data file; empty when it could not be made
  std::string options;  // in force, for the manifest
  std::string told;     // what came of it, on a line; empty when there is nothing to tell
  std::optional<ChannelCurves> curves;
};

struct MadePosture {
  std::array<MadeChannel, kChannelKeys.size()> channels;
  std::vector<Finding> findings;  // at their places in the source
};

// `source` gives the findings their places. Safe on any thread, if no other changes the source.
MadePosture MakePosture(const PostureSource& posture, const Project& project,
                        const TomlSource& source, SourceFiles& files);

}  // namespace brelmo::tavi::tools
