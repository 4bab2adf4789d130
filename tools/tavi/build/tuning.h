// From a source to all that is made of it, in memory.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "build/posture_maker.h"
#include "build/project.h"
#include "console/finding.h"
#include "console/output.h"

namespace brelmo::tavi::tools {

// The page in the folder that build writes.
constexpr const char* kReportFile = "report.html";

// Whether a file of that folder is one of the module's data files.
bool IsDataFile(const std::string& name);

struct Tuning {
  std::vector<Finding> findings;  // at their places in the source
  // The rest is empty when a finding is an error.
  Project project;
  std::vector<MadePosture> made;
  std::map<std::string, std::string> files;  // by their names in the folder, the manifest apart
  std::vector<std::string> remarks;          // of the manifest
  std::vector<InputFile> inputs;             // that must survive
};

// Reads the source and what it names, designs the postures in parallel, lets check look at the
// result. Throws InputError when the source cannot be read. `is_strict`: a warning is an error.
Tuning MakeTuning(const std::string& source_path, bool is_strict);

}  // namespace brelmo::tavi::tools
