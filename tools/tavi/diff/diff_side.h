// One of the two things that are compared, read.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "check/posture_probe.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

struct SideOptions {
  std::string path;
  std::string data_root;  // of a configuration; empty: the folder's etc/, or the device's own
};

// What a case sends to a channel. Without bins it sends nothing.
struct SideChannel {
  std::string file;  // as configured
  std::vector<float> data;
  bool is_flat = false;  // for want of a usable file
};

// Whether the DSP plays the same of both: a NaN, which the module sends, is the same as a NaN.
bool IsSameData(const std::vector<float>& a, const std::vector<float>& b);

struct SideCase {
  std::string text;
  std::map<std::string, std::string> conditions;  // as configured, by name
  // The same in one order, whatever else stands in the configuration.
  std::map<std::string, std::vector<std::string>> rules;
  std::array<SideChannel, 2> channels;  // left, right
};

struct SideConfig {
  std::string text;
  std::string path;             // of the file with the text; empty for none
  std::string sha256;           // of that file; empty for none
  std::string data_root;        // empty: the device's own
  std::vector<SideCase> cases;  // in force
  size_t written = 0;           // cases that stand in the text
  std::vector<PostureResult> postures;
};

struct SideResponse {
  std::vector<Complex> bins;
};

// Each response that a capture holds, once, by channel.
struct SideCapture {
  std::array<std::vector<SideChannel>, 2> responses;
};

using Side = std::variant<SideConfig, SideResponse, SideCapture>;

// Reads a configuration, a folder that build made, a data file, a response or filter as text or
// audio, or a capture, and tells them apart by their content. `rate` is that of the DSP. Throws
// InputError.
Side ReadSide(const SideOptions& options, double rate);

// The configuration `text`. No other data folder may be in force. Throws InputError.
SideConfig ReadSideConfig(std::string text, const std::string& data_root);

}  // namespace brelmo::tavi::tools
