// What a check found, on standard output.
#pragma once

#include <string>

#include "check/check_config.h"

namespace brelmo::tavi::tools {

// For people the findings and a summary; for programs one array of findings.
void PutCheckResult(const CheckResult& result, const std::string& text,
                    const std::string& config_name, bool is_json);

}  // namespace brelmo::tavi::tools
