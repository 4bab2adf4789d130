// From a file that was measured, or made elsewhere, to a data file.
#pragma once

#include <string>

#include "response/design.h"
#include "response/import_correction.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {

struct CorrectionFiles {
  std::string input;
  std::string output;
  bool is_forced = false;  // an output that exists is replaced
  std::string format = "text";
};

// What is named by the user and read before the sums.
struct DesignSources {
  std::string target = kFlatTarget;  // or a file
  std::string mask;                  // a name or a file; empty without a mask
};

// Read, compute, write and say what came of it on standard output. False when the input was
// refused, which the findings say; nothing is written then. Throw InputError for what can be
// neither read nor written.
bool WriteDesign(const CorrectionFiles& files, const ReadOptions& reading,
                 const DesignSources& sources, DesignOptions options);
bool WriteImport(const CorrectionFiles& files, const ReadOptions& reading,
                 const ImportOptions& options);

}  // namespace brelmo::tavi::tools
