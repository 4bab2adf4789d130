// Random events on all of the host's threads at once, until time is up or the module does something
// wrong.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace brelmo::tavi::tools {

struct StressOptions {
  std::string module;
  std::chrono::seconds time{10};
  uint64_t seed = 0;                  // the same seed sends the same events
  std::string output;                 // the folder for a failure's scenario
  bool is_forced = false;             // files that others made there are replaced
  size_t jobs = 1;                    // episodes at the same time
  std::chrono::seconds patience{10};  // with one call of the module, its loading and unloading
};

// Whether nothing was found; tells of it on standard output. Throws InputError when the library is
// no module that a host takes, and MachineError.
bool Stress(const StressOptions& options);

}  // namespace brelmo::tavi::tools
