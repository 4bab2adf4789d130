// What the validator tells its user, in a form of the user's choice.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "validate/validation.h"
#include "validate/verdict.h"

namespace brelmo::tavi::tools {

struct Totals {
  size_t held = 0;
  std::vector<std::string> failed;
  size_t not_run = 0;
  std::string why_not_run;
  double seconds = 0;
};

// On standard output, and progress on standard error.
class VerdictReporter {
 public:
  VerdictReporter() = default;
  VerdictReporter(const VerdictReporter&) = delete;
  VerdictReporter& operator=(const VerdictReporter&) = delete;
  virtual ~VerdictReporter() = default;

  virtual void PutList(const Validations& validations) = 0;
  virtual void PutProgress(size_t /*ended*/, size_t /*count*/, size_t /*failed*/) {}
  virtual void Put(const Validation& validation, const Verdict& verdict) = 0;
  virtual void PutTotals(const std::string& module, const Totals& totals) = 0;
};

// For people; `module` is the file as the user names it.
std::unique_ptr<VerdictReporter> MakeTextVerdicts(const std::string& module, bool is_verbose);
// For programs: one JSON object a line.
std::unique_ptr<VerdictReporter> MakeJsonVerdicts();

}  // namespace brelmo::tavi::tools
