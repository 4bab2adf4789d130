// Findings about the postures that cases match. They have a case number where they are about a
// case, but no place yet.
#pragma once

#include <cstddef>
#include <vector>

#include "check/posture_probe.h"
#include "console/finding.h"

namespace brelmo::tavi::tools {

// Cases that match more or less than their conditions declare. `cases` are those in force;
// `postures`, here and below, what an engine with them does in AllPostures().
std::vector<Finding> FindOddRanges(const std::vector<audio::compensation::CaseConfig>& cases,
                                   const std::vector<PostureResult>& postures);

// Cases that alternate, cases that are never taken, postures that no case covers. `cases` are the
// engine's.
std::vector<Finding> FindOddPostures(
    const std::vector<audio::compensation::TelephonySpeakerCompensation::Case>& cases,
    const std::vector<PostureResult>& postures);

}  // namespace brelmo::tavi::tools
