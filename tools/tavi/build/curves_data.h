// The curves of a tuning as data of a report: what was measured, what was wanted, what came of it.
#pragma once

#include <nlohmann/json.hpp>

#include "build/tuning.h"

namespace brelmo::tavi::tools {

// Adds a member "build" to a report's data: `postures`, the names of the cases, and
// `designs`, an object for each channel that
// was designed: case, channel, corrected (from, to), frequency_hz and, a value for each of those,
// measured_db, target_db, correction_db and corrected_db, relative to the measured level; mask:
// name, upper and lower (frequency_hz and db), margin_before_db, margin_after_db; or null.
void PutCurves(const Tuning& tuning, nlohmann::ordered_json& data);

}  // namespace brelmo::tavi::tools
