// The options of commands that read a measured or made response.
#pragma once

#include <CLI/CLI.hpp>

#include "response/correction_file.h"
#include "response/curve.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {

void AddRateOption(CLI::App& command, double& rate);
// LO,HI.
void AddRangeOption(CLI::App& command, Range& range);
// --column, --channel and --ir-start.
void AddReadingOptions(CLI::App& command, ReadOptions& reading);
// --output, --force and --format.
void AddCorrectionOutput(CLI::App& command, CorrectionFiles& files);

}  // namespace brelmo::tavi::tools
