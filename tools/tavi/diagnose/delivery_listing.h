// The work of `tavi decode`.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "diagnose/candidate.h"

namespace brelmo::tavi::tools {

struct DecodeOptions {
  std::string capture;
  std::vector<CandidateSource> candidates;
  std::vector<InputFile> inputs;       // what else is read: the candidates' files
  std::optional<std::string> extract;  // a folder for the responses
  std::string format = "text";
  bool is_forced = false;
};

// Prints the capture, a line a delivery or a JSON object a message, and writes its responses as
// data files where that is asked for. Throws InputError for what is no capture, and behind all that
// makes sense for a damaged one.
void ListDeliveries(const DecodeOptions& options);

}  // namespace brelmo::tavi::tools
