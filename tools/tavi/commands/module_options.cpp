#include "commands/module_options.h"

#include <algorithm>
#include <thread>

namespace brelmo::tavi::tools {

size_t DefaultJobs() { return std::max(1U, std::thread::hardware_concurrency()); }

std::string WithoutLeadingZeros(const std::string& text) {
  const size_t at = text.find_first_not_of('0');
  const bool is_number = at != std::string::npos && text[at] >= '0' && text[at] <= '9';
  return is_number ? text.substr(at) : text;
}

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
