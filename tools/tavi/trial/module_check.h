// Whether a file is a build of the module that a host takes: looked at and loaded in processes of
// their own.
#pragma once

#include <chrono>
#include <string>

namespace brelmo::tavi::tools {

// Throws InputError when the file is no build of a module for this machine, or when reading it
// takes longer than `patience`.
void RequireModule(const std::string& path, std::chrono::milliseconds patience);

// Why a host refuses the library or fails with it; empty when a host takes it.
std::string FindWhyNotTaken(const std::string& path, std::chrono::milliseconds patience);

}  // namespace brelmo::tavi::tools
