// A device to measure on: configurations, their data files, and the module loaded once.
#pragma once

#include <cstddef>
#include <string>

#include "loaded_module.h"

namespace brelmo::tavi::benchmarks {

constexpr size_t kBins = 257;

// The name of a data file of 257 bins, made when it is first asked for; no two numbers hold the
// same. The files last as long as the process.
std::string DataFileName(int number);
// Where that file stands.
std::string DataFilePath(int number);

// A case, with a blank behind it, whose channels play the data files `file` and `file` + 1.
std::string Case(const std::string& hinge, const std::string& rotation, int file);

// The library named by TAVI_MODULE in the environment, or the one built beside.
const simulator::LoadedModule& TheModule();
// Initialises the module and returns its context; TheHost() has its handlers.
void* Init(const std::string& config);

}  // namespace brelmo::tavi::benchmarks
