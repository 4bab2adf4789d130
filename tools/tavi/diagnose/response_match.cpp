#include "diagnose/response_match.h"

#include <set>

namespace brelmo::tavi::tools {

namespace {

bool IsFlat(const std::vector<float>* sent) { return sent != nullptr && IsFlatResponse(*sent); }

}  // namespace

std::vector<CaseMatch> MatchCases(const std::vector<const Candidate*>& candidates,
                                  const std::vector<float>* left, const std::vector<float>* right) {
  std::vector<CaseMatch> exact;
  std::vector<CaseMatch> in_place;
  for (size_t i = 0; i < candidates.size(); ++i) {
    const auto& cases = candidates[i]->cases();
    for (size_t k = 0; k < cases.size(); ++k) {
      const bool has_left = cases[k].left.IsSentAs(left);
      const bool has_right = cases[k].right.IsSentAs(right);
      CaseMatch match = {i, k, has_left && cases[k].left.is_flat,
                         has_right && cases[k].right.is_flat};
      if (has_left && has_right) {
        exact.push_back(match);
      } else if (has_right && right != nullptr && !cases[k].right.is_flat && IsFlat(left)) {
        match.is_left_flat = true;
        in_place.push_back(match);
      } else if (has_left && left != nullptr && !cases[k].left.is_flat && IsFlat(right)) {
        match.is_right_flat = true;
        in_place.push_back(match);
      }
    }
  }
  return exact.empty() ? in_place : exact;
}

std::vector<NamedResponse> KnownResponses(const Candidate& candidate) {
  std::vector<NamedResponse> known;
  std::set<std::string> names;
  for (size_t i = 0; i < candidate.cases().size(); ++i) {
    const CandidateCase& one = candidate.cases()[i];
    for (const CandidateOutput* const output : {&one.left, &one.right}) {
      if (output->is_flat || !names.insert(output->file_name).second) continue;
      known.push_back({output->file_name + " of case " + std::to_string(i), &output->response});
    }
  }
  return known;
}

}  // namespace brelmo::tavi::tools
