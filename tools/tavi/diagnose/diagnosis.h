// What a log, a dump and a capture of a device tell: what happened, with which configuration, and
// why it sounded wrong.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "capture/material.h"
#include "diagnose/candidate.h"
#include "diagnose/findings.h"
#include "diagnose/recovered_config.h"
#include "diagnose/story.h"

namespace brelmo::tavi::tools {

struct Diagnosis {
  Material material;
  Story story;
  std::vector<std::unique_ptr<Candidate>> candidates;
  std::vector<Explanation> explanations;  // of each
  std::optional<size_t> best;             // the candidate that explains most, the first of several
  std::vector<size_t> equals;             // others that explain as much
  std::optional<RecoveredConfig> recovered;
  std::unique_ptr<Candidate> recovered_candidate;
  std::vector<FieldFinding> findings;  // the most severe first

  // What names the cases: the best candidate, else the one that a dump gives; null when there is
  // none.
  const Candidate* naming() const {
    return best ? candidates[*best].get() : recovered_candidate.get();
  }
  FieldCase field() const;
  // Some finding is more than a note.
  bool is_something_wrong() const;
};

// Throws InputError.
Diagnosis Diagnose(Material material, const std::vector<CandidateSource>& sources);

void PrintDiagnosis(const Diagnosis& diagnosis, bool is_colour);
void PrintDiagnosisAsJson(const Diagnosis& diagnosis);
// What happened in words.
std::string DescribeEvent(const FieldCase& field, const Life& life, const StoryEvent& event);

// What a scenario of ours begins with.
constexpr std::string_view kScenarioHead = "# Reconstructed by `tavi diagnose`.";
// The story as a scenario for `tavi run`. Throws InputError where nothing of it can be played.
std::string WriteScenario(const Diagnosis& diagnosis);

}  // namespace brelmo::tavi::tools
