// Findings about what the module's reader makes of a text.
#pragma once

#include <cstddef>
#include <string>

#include "check/config_text.h"
#include "check/placed_findings.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

// `config` is `text` as the module reads it; `is_cut_short` says that it warned of a malformed
// item.
void CheckReading(const ConfigText& text, const audio::compensation::CompensationConfig& config,
                  bool is_cut_short, PlacedFindings& findings);

// How to write the end of a case and the beginning of the next as one where a space stands in the
// middle of an item; empty where none seems to.
std::string CureOfSpace(const ConfigText& text, size_t number);

}  // namespace brelmo::tavi::tools
