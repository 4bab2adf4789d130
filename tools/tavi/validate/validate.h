// Runs the validator's tests on a build of the module.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "validate/validation.h"
#include "validate/verdict_reporter.h"

namespace brelmo::tavi::tools {

struct ValidateSetup {
  std::string module;
  size_t jobs = 1;                     // tests at the same time
  std::chrono::milliseconds patience;  // with one call of the module, its loading and unloading
};

// The tests with one of the names, or in a group of that name; * and ? as in a shell. All without
// patterns. Throws InputError when no test has such a name.
Validations SelectValidations(const std::vector<std::string>& patterns);

// Whether all tests held. Throws InputError when the file is no module, and MachineError.
bool Validate(const ValidateSetup& setup, Validations validations, VerdictReporter& reporter);

}  // namespace brelmo::tavi::tools
