// Findings about what data files are as filters, each by itself and beside each other: what a
// device would let a listener find out.
#pragma once

#include <string>
#include <vector>

#include "check/data_file_check.h"
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

// About one file: time-aliasing, pre-ringing, steep-bin. Only of a file with 257 finite bins that
// the module sends: of the rest other findings speak.
std::vector<Finding> CheckFilter(const DataFile& file, const FilterLimits& limits);

// About files beside each other: channel-delay, level-jump, same-file. `cases` are those in force;
// `postures` are of them.
std::vector<Finding> CompareFilters(
    const std::vector<audio::compensation::TelephonySpeakerCompensation::Case>& cases,
    const std::vector<PostureResult>& postures, const std::vector<DataFile>& files,
    const FilterLimits& limits);

// One finding about the data files of `folder` that are missing in `files`. Data files are told by
// the endings of those in use; subfolders are left out. Empty when all are in use, and when the
// folder cannot be read.
std::vector<Finding> FindUnusedFiles(const std::string& folder, const std::vector<DataFile>& files);

}  // namespace brelmo::tavi::tools
