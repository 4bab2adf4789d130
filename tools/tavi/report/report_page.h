// The report as one HTML page that needs nothing besides itself.
#pragma once

#include <string>
#include <string_view>

namespace brelmo::tavi::tools {

// How every page begins, and nothing else.
constexpr std::string_view kPageMark =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta name=\"generator\" content=\"tavi report\">\n";

// `data`: the report's data as JSON. It may hold any text: nothing in it becomes markup or script.
std::string MakeReportPage(const std::string& data);

}  // namespace brelmo::tavi::tools
