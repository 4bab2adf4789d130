// What is said of a correction that was designed or imported.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "response/design.h"
#include "response/import_correction.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {

const char* PhaseName(CorrectionPhase phase);  // "minimum", ...

// Lines for people: what the file does, and what it leaves.
std::string DesignText(const Design& design, const DesignOptions& options);
std::string ImportText(const Import& import, const ImportOptions& options);

// Objects for programs. `findings` are all of the run, the reader's included; what is not known is
// null.
nlohmann::ordered_json DesignToJson(const ReadResult& read, const std::vector<Finding>& findings,
                                    const Design& design, const DesignOptions& options);
nlohmann::ordered_json ImportToJson(const ReadResult& read, const std::vector<Finding>& findings,
                                    const Import& import, const ImportOptions& options);

}  // namespace brelmo::tavi::tools
