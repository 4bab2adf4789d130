// What the candidates have for the responses that reached the DSP.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "capture/nearest_response.h"
#include "diagnose/candidate.h"

namespace brelmo::tavi::tools {

// A case that a delivery can be of.
struct CaseMatch {
  size_t candidate = 0;
  size_t number = 0;
  // A channel came flat where this case has a file: the device could not use its copy.
  bool is_left_flat = false;
  bool is_right_flat = false;
};

// Each case whose responses are just these (null: not sent), or are but for one channel that came
// flat in place of its file.
std::vector<CaseMatch> MatchCases(const std::vector<const Candidate*>& candidates,
                                  const std::vector<float>* left, const std::vector<float>* right);

// The responses of a candidate's files, each once, as "a.txt of case 1".
std::vector<NamedResponse> KnownResponses(const Candidate& candidate);

}  // namespace brelmo::tavi::tools
