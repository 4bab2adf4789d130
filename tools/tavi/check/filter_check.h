// Findings about what data files are as filters, each by itself and beside each other: what a
// device would let a listener find out.
#pragma once

#include <string>
#include <vector>

#include "check/played_file.h"
#include "check/posture_probe.h"
#include "console/finding.h"

namespace brelmo::tavi::tools {

// Beyond which something is said.
struct FilterLimits {
  double rate = 48000.0;         // of the DSP, in Hz
  double late_energy_db = -30;   // outside of the first 257 taps, of the whole energy
  double early_energy_db = -30;  // earlier than 1 ms before the peak, of the whole energy
  double step_db = 12;           // from one bin to the next, in 300 to 8000 Hz
  double delay_ms = 1;           // between left and right of a case
  double level_db = 6;           // of speech, between two cases whose postures adjoin
};

// About one file: time-aliasing, pre-ringing, steep-bin and same-file; the last has no place.
// Only of a file that the module sends, and, same-file aside, that has 257 finite bins: of the rest
// other findings speak. Reads the file again, through the data folder in force, where a finding
// needs its lines.
std::vector<Finding> CheckFilter(const DataFile& file, const FilterLimits& limits);

// About files beside each other, each finding about a case, without a place: channel-delay and
// level-jump. `cases` are those in force; `postures` are of them.
std::vector<Finding> CompareFilters(
    const std::vector<audio::compensation::TelephonySpeakerCompensation::Case>& cases,
    const std::vector<PostureResult>& postures, const FilterLimits& limits);

// One finding about the data files of `folder` that are missing in `names`. Data files are told by
// the endings of those in use; subfolders are left out. Empty for a folder that cannot be read.
std::vector<Finding> FindUnusedFiles(const std::string& folder,
                                     const std::vector<std::string>& names);

}  // namespace brelmo::tavi::tools
