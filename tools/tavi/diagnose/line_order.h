// The order in which the module logged its lines, where the log has them in another.
#pragma once

#include <cstdint>
#include <vector>

#include "capture/material.h"

namespace brelmo::tavi::tools {

// Puts lines of one process, given as numbers of Material::entries, into their order: loggers
// exchange lines of different threads within a millisecond. Appends to `clock_jumps` the lines
// before which the clock was set back.
void PutInOrder(const Material& material, std::vector<uint32_t>& numbers,
                std::vector<uint32_t>& clock_jumps);

}  // namespace brelmo::tavi::tools
