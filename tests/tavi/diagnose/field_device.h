// A device with the loaded module on which calls are played, and the log, the dumps and the
// captures that somebody in the field would take of it.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "capture/capture_file.h"
#include "loaded_module.h"
#include "log_capture.h"
#include "simulated_host.h"

namespace brelmo::tavi::test {

struct DeviceLine {
  int64_t us = 0;  // since 2026-11-21 23:59:30
  int thread = 0;
  char severity = 'I';
  std::string tag;
  std::string text;
  int process = 1041;  // of a line of the module
};

struct Recording {
  std::vector<DeviceLine> log;
  std::string dump;  // the last one
  std::string bytes;
  std::string pcapng;
};

// Formats of logcat.
const std::vector<std::string>& LogFormats();

// The log in one of them.
std::string Render(const std::vector<DeviceLine>& lines, const std::string& format);

// What happens to a log on its way.
std::vector<DeviceLine> WithOtherProcesses(const std::vector<DeviceLine>& lines,
                                           std::mt19937& random);
std::vector<DeviceLine> Reordered(std::vector<DeviceLine> lines, std::mt19937& random);
// Without some lines of INFO.
std::vector<DeviceLine> Thinned(const std::vector<DeviceLine>& lines, std::mt19937& random);

// Plays the steps, written as in a scenario; `wait` lets the device's clock run and takes no time.
Recording Play(const std::string& config, const std::string& data_root, const std::string& steps);

}  // namespace brelmo::tavi::test
