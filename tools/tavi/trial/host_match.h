// Whether a library is a module for the host that this tavi was built for, told before the first
// test: with a module for another host each test would fail in its own way.
#pragma once

#include <string>

#include "loaded_module.h"

namespace brelmo::tavi::tools {

// What the module takes from another place of the host's records than this tavi has it at, with
// both numbers. Empty when all places are the same, and when that cannot be told. Plays a call: a
// module may crash of it.
std::string FindOtherOffsets(const simulator::LoadedModule& module);

}  // namespace brelmo::tavi::tools
