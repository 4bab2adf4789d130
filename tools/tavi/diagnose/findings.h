// What went wrong, by names that stay.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/finding.h"
#include "diagnose/candidate.h"
#include "diagnose/story.h"

namespace brelmo::tavi::tools {

struct FieldFinding {
  Finding finding;
  // It follows from the material; else it is likely.
  bool is_certain = true;
  std::vector<Place> evidence;  // the first one is the finding's own place
  size_t more = 0;              // of its name behind it, which are counted only
};

// What findings are made of.
struct FieldCase {
  const Material& material;
  const Story& story;
  // The candidate that names the cases; null when there is none.
  const Candidate* candidate = nullptr;
  // It explains what is there: what follows from it is certain.
  bool is_candidate_fit = false;
  // Those that explain as much.
  std::vector<const Candidate*> equals = {};
};

// Of one life, in the order of time.
void FindInInit(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found);
void FindInCalls(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found);
void FindByTurns(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found);
// Of dumps, of what the DSP was sent, and of the material itself.
void FindInDumps(const FieldCase& field, std::vector<FieldFinding>& found);
void FindInResponses(const FieldCase& field, std::vector<FieldFinding>& found);
void FindInMaterial(const FieldCase& field, std::vector<FieldFinding>& found);

// A finding with its places. `message` as a sentence without its end; of a likely one it says so.
FieldFinding MakeFieldFinding(const FieldCase& field, const std::string& name, Severity severity,
                              bool is_certain, const std::vector<Place>& evidence,
                              const std::string& message, const std::string& consequence);
// "line 12 of device.log", "offset 24 of call.bin".
std::string DescribePlace(const Material& material, const Place& place);
// "case 2 (hinge angle 45 to 134)", or by its keys.
std::string NameCase(const FieldCase& field, const Life& life, CaseId id);
// Its number, where the material and all candidates agree on one.
std::optional<size_t> CaseNumberOf(const FieldCase& field, const Life& life, CaseId id);
// Without the postures.
std::string NameCaseInShort(const FieldCase& field, const Life& life, CaseId id);
// "1.25 s", "2 min 5 s".
std::string DescribeDuration(int64_t us);

}  // namespace brelmo::tavi::tools
