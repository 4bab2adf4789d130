// The report as one HTML page that needs nothing besides itself.
#pragma once

#include <string>

namespace brelmo::tavi::tools {

// `data`: the report's data as JSON. It may hold any text: nothing in it becomes markup or script.
std::string MakeReportPage(const std::string& data);

}  // namespace brelmo::tavi::tools
