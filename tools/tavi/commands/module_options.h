// The options of all commands that load a module.
#pragma once

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>

namespace brelmo::tavi::tools {

constexpr int kDefaultPatience = 10;  // seconds

// One for each processor.
size_t DefaultJobs();

// The option --jobs; `what` runs at the same time.
void AddJobsOption(CLI::App& command, size_t& jobs, const std::string& what);
// The option --patience.
void AddPatienceOption(CLI::App& command, int& seconds);

}  // namespace brelmo::tavi::tools
