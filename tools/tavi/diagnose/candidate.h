// A configuration that the device may have had, as the module's own code reads it.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture/log_lines.h"
#include "capture/material.h"
#include "check/check_config.h"
#include "diagnose/posture_path.h"
#include "diagnose/story.h"

namespace brelmo::tavi::tools {

struct CandidateSource {
  std::string name;  // for messages
  std::string text;
  std::string data_root;  // empty for the device's own data folder
  // Told by a dump: its data files are not at hand, and what it sends is not known.
  bool is_recovered = false;
};

struct CandidateOutput {
  std::string file_name;        // as configured
  bool is_flat = false;         // the module plays the channel flat in place of it
  std::vector<float> response;  // as sent
  // Whether just this is sent; null: nothing is. By its bytes: a NaN is itself.
  bool IsSentAs(const std::vector<float>* sent) const;
};

struct CandidateCase {
  PostureKeys keys;
  CandidateOutput left;
  CandidateOutput right;
  size_t same_as = 0;    // the first case with these keys: the module tells them apart by these
  std::string postures;  // in which it is taken, in words; empty: in none
  // Bytes of its delivery; 0 when there is nothing to send.
  size_t delivery_size() const;
};

class Candidate {
 public:
  // Reads the configuration and its data files; throws InputError when there is no such folder.
  explicit Candidate(const CandidateSource& source);

  const CandidateSource& source() const { return source_; }
  const std::vector<CandidateCase>& cases() const { return cases_; }
  const PostureChoices& choices() const { return *choices_; }
  const CheckResult& check() const { return check_; }
  const std::vector<std::pair<int, int>>& ranges() const { return ranges_; }
  // The lines that the module logs at init up to its last, the texts in their places.
  const std::vector<std::string>& init_lines() const { return init_lines_; }

  // The first case with such keys; empty when no case has them.
  std::optional<size_t> CaseOfKeys(const PostureKeys& keys) const;
  // The cases whose responses are exactly these.
  std::vector<size_t> CasesOfResponses(const std::vector<float>* left,
                                       const std::vector<float>* right) const;
  // "case 2 (hinge angle 45 to 134 at rotation 180)".
  std::string DescribeCase(size_t number) const;
  // The finding of `check` that these two cases alternate; null when they do not.
  const Finding* AlternationFinding(size_t a, size_t b) const;

 private:
  const CandidateSource source_;
  std::vector<CandidateCase> cases_;
  std::optional<PostureChoices> choices_;
  CheckResult check_;
  std::vector<std::pair<int, int>> ranges_;
  std::vector<std::string> init_lines_;
};

// How much of the material a candidate explains.
struct Explanation {
  size_t total = 0;
  size_t explained = 0;
  struct Against {
    Place place;
    std::string reason;
  };
  std::optional<Against> first_against;
  // Something is there that the candidate does not have, other than by lost lines.
  bool is_refuted = false;
};

Explanation Explain(const Candidate& candidate, const Material& material, const Story& story);

// What a log line says, without what differs between C++ libraries, as one text. For those of init.
std::string InitLineText(const LogMessage& message);

}  // namespace brelmo::tavi::tools
