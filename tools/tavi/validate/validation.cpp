#include "validate/validation.h"

namespace brelmo::tavi::tools {

Validations AllValidations() {
  Validations validations;
  AddLibraryValidations(validations);
  AddInitValidations(validations);
  AddScenarioValidations(validations);
  AddConfigValidations(validations);
  AddPostureValidations(validations);
  AddCaseValidations(validations);
  AddMessageValidations(validations);
  AddDataValidations(validations);
  AddDumpValidations(validations);
  AddLoggingValidations(validations);
  AddThreadValidations(validations);
  AddHardeningValidations(validations);
  return validations;
}

}  // namespace brelmo::tavi::tools
