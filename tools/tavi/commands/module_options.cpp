#include "commands/module_options.h"

#include <algorithm>
#include <thread>

#include "commands/config_options.h"

namespace brelmo::tavi::tools {

size_t DefaultJobs() { return std::max(1U, std::thread::hardware_concurrency()); }

void AddJobsOption(CLI::App& command, size_t& jobs, const std::string& what) {
  command.add_option("--jobs", jobs, what + " at the same time; default: one for each processor")
      ->check(CLI::Range(1, 1000))
      ->transform(WithoutLeadingZeros)
      ->type_name("N");
}

void AddPatienceOption(CLI::App& command, int& seconds) {
  command
      .add_option("--patience", seconds,
                  "How long the module may take with one call, its loading or its unloading before "
                  "it counts as hung; default: 10")
      ->check(CLI::Range(1, 3600))
      ->transform(WithoutLeadingZeros)
      ->type_name("SECONDS");
}

}  // namespace brelmo::tavi::tools
