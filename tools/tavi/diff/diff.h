// tavi diff: what a change of a tuning changes for who listens.
#pragma once

#include "diff/config_difference.h"
#include "diff/diff_side.h"

namespace brelmo::tavi::tools {

struct DiffOptions {
  SideOptions old_side;
  SideOptions new_side;
  DiffLimits limits;
  bool is_json = false;
};

// Says on standard output how the two differ. True when the DSP is sent the same. Throws InputError
// when that cannot be said.
bool Diff(const DiffOptions& options);

}  // namespace brelmo::tavi::tools
