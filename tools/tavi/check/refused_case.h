// Findings about the case that the module's engine refuses, and about those behind it.
#pragma once

#include <cstddef>

#include "check/config_text.h"
#include "check/placed_findings.h"
#include "check/refusal.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

// `config` is `text` as the module reads it. The engine refuses case `number` for `refusal`, and
// the cases before it are in force.
void CheckRefusedCase(const ConfigText& text, const audio::compensation::CompensationConfig& config,
                      size_t number, Refusal refusal, PlacedFindings& findings);

}  // namespace brelmo::tavi::tools
