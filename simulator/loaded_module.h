// A build of the module's library, loaded as a host loads it.
#pragma once

#include <string>

#include "hal_audio_platform.h"

namespace brelmo::tavi::simulator {

// Stays in the process once loaded: what the module deliberately leaves behind refers to its code.
class LoadedModule {
 public:
  // Throws std::runtime_error, with a message that names the file and the reason, when the library
  // cannot be loaded or its descriptor is missing or not what a host expects.
  explicit LoadedModule(const std::string& path);

  const hal_ext_audio_module& descriptor() const { return *descriptor_; }

 private:
  const hal_ext_audio_module* descriptor_;
};

}  // namespace brelmo::tavi::simulator
