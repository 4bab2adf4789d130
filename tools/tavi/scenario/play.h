// Plays a scenario against a module, in a process of its own.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

#include "capture/capture_file.h"

namespace brelmo::tavi::tools {

struct PlaySetup {
  std::string module;
  std::string config;
  std::string data_root;       // in the place of the module's data folder; empty: the device's own
  std::string scenario = "-";  // a file, or standard input
  bool is_json = false;
  // Gets what happens, in whole lines. Empty: it goes to standard output.
  std::function<void(const std::string& text)> put = {};
  // Waits and a slow DSP advance the run's clock, and the run does not wait for them.
  bool is_time_virtual = false;
  // Where the bytes of every write go, as they come; may be null. The caller finds what could not
  // be written by `is_capture_complete`.
  std::FILE* capture = nullptr;
  CaptureFormat capture_format = CaptureFormat::kBytes;
  std::chrono::milliseconds patience = std::chrono::seconds(10);  // with one call of the module
};

struct PlayResult {
  bool is_as_expected = false;  // no expectation failed, and the host's contract held
  bool is_capture_complete = true;
};

// Tells what happens. A module that dies or hangs is a result. Throws InputError
// when the module or the scenario cannot be used, MachineError and Interrupted.
PlayResult PlayScenario(const PlaySetup& setup);

}  // namespace brelmo::tavi::tools
