// The tests of the validator.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "trial/trial.h"

namespace brelmo::tavi::tools {

struct Validation {
  std::string name;   // "group.what-is-tested"
  std::string holds;  // what is so when it passes, in one sentence
  std::function<void(Trial&)> run;
  // Of the file alone: it can be run on a library that a host would not take.
  bool is_of_the_file = false;
};

using Validations = std::vector<Validation>;

void AddLibraryValidations(Validations& validations);
void AddInitValidations(Validations& validations);
void AddScenarioValidations(Validations& validations);
void AddConfigValidations(Validations& validations);
void AddPostureValidations(Validations& validations);
void AddCaseValidations(Validations& validations);
void AddMessageValidations(Validations& validations);
void AddDataValidations(Validations& validations);
void AddDumpValidations(Validations& validations);
void AddLoggingValidations(Validations& validations);
void AddThreadValidations(Validations& validations);
// What no host of today does: null payloads and a null text.
void AddHardeningValidations(Validations& validations);

// All, in the order in which they are listed.
Validations AllValidations();

}  // namespace brelmo::tavi::tools
