// A device to measure on: configurations, their data files, and the module loaded once.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "direct_host.h"
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
// Its host. One a process; what it does with a write costs next to nothing.
simulator::DirectHost& TheHost();
// Initialises the module and returns its context, or ends the process; TheHost() has its handlers.
void* Init(const std::string& config);

// As a host that announces the common value 5 and starts use case 6, or withdraws and stops them.
void StartCall();
void StopCall();

// Bytes handed to the tuning entry so far.
uint64_t BytesWritten();
// How long each call of the tuning entry takes from now on.
void SetWriteTime(std::chrono::microseconds time);

}  // namespace brelmo::tavi::benchmarks
