// The configuration that a source comes to, and where in the source each of its pieces stands.
#pragma once

#include <string>
#include <vector>

#include "build/project.h"
#include "build/toml_table.h"
#include "check/check_config.h"
#include "console/finding.h"

namespace brelmo::tavi::tools {

// "spk_closed_left.txt".
std::string DataFileName(const Project& project, const PostureSource& posture, size_t channel);

// One line, without its end.
std::string ConfigLine(const Project& project);

// What check found of that line, at the places of the source. `data_root` is the folder that check
// had for the data files.
std::vector<Finding> FindingsInSource(const CheckResult& checked, const std::string& config,
                                      const std::string& data_root, const Project& project,
                                      const TomlSource& source);

}  // namespace brelmo::tavi::tools
