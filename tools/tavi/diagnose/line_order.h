// The order in which the module logged its lines, where the log has them in another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "capture/material.h"

namespace brelmo::tavi::tools {

// The lines of each process, as numbers of Material::entries, those of several files by their
// times. Adds to `repeated_lines` those that several files have, which are taken once.
std::vector<std::vector<uint32_t>> LinesByProcess(const Material& material, size_t& repeated_lines);

// Puts lines of one process, given as numbers of Material::entries, into their order: loggers
// exchange lines of different threads within a millisecond. Appends to `clock_jumps` the lines
// before which the clock was set back.
void PutInOrder(const Material& material, std::vector<uint32_t>& numbers,
                std::vector<uint32_t>& clock_jumps);

}  // namespace brelmo::tavi::tools
