// Sets of postures as short text.
#pragma once

#include <string>
#include <vector>

#include "check/posture_probe.h"

namespace brelmo::tavi::tools {

// "hinge angle 91 to 180 at rotation 90 and 270; before the first hinge reading". The postures are
// some of AllPostures(), in any order and at least one.
std::string DescribePostures(const std::vector<Posture>& postures);

}  // namespace brelmo::tavi::tools
