#include "report/report_page.h"

#include <cstddef>

#include <stdexcept>
#include <string_view>

// Puts a file into the program, as it is when this is built.
// clang-format off
#define TAVI_EMBED(symbol, file)                   \
  __asm__(".pushsection .rodata\n"                 \
          ".global " #symbol ", " #symbol "_end\n" \
          ".hidden " #symbol ", " #symbol "_end\n" \
          #symbol ":\n"                            \
          ".incbin \"" file "\"\n"                 \
          #symbol "_end:\n"                        \
          ".byte 0\n"                              \
          ".popsection\n")
// clang-format on

TAVI_EMBED(tavi_report_page, TAVI_PAGE_FOLDER "/page.html");
TAVI_EMBED(tavi_report_style, TAVI_PAGE_FOLDER "/page.css");
TAVI_EMBED(tavi_report_script, TAVI_PAGE_SCRIPT);
TAVI_EMBED(tavi_chart_script, TAVI_CHART_JS);
TAVI_EMBED(tavi_chart_licence, TAVI_CHART_JS_LICENCE);

#pragma GCC visibility push(hidden)
extern "C" {
extern const char tavi_report_page[];
extern const char tavi_report_page_end[];
extern const char tavi_report_style[];
extern const char tavi_report_style_end[];
extern const char tavi_report_script[];
extern const char tavi_report_script_end[];
extern const char tavi_chart_script[];
extern const char tavi_chart_script_end[];
extern const char tavi_chart_licence[];
extern const char tavi_chart_licence_end[];
}
#pragma GCC visibility pop

namespace brelmo::tavi::tools {

namespace {

std::string_view Embedded(const char* begin, const char* end) {
  return {begin, static_cast<size_t>(end - begin)};
}

// For the text between two tags.
std::string Escape(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '<') {
      escaped += "&lt;";
    } else if (c == '&') {
      escaped += "&amp;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// For a script element: without a "<" no text can end it, or open a comment in it. JSON has one
// only inside strings.
std::string EscapeJson(std::string_view json) {
  std::string escaped;
  escaped.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      escaped += "\\u003c";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string PartOfPage(std::string_view name, const std::string& data) {
  if (name == "style") return std::string(Embedded(tavi_report_style, tavi_report_style_end));
  if (name == "script") return std::string(Embedded(tavi_report_script, tavi_report_script_end));
  if (name == "chart") return std::string(Embedded(tavi_chart_script, tavi_chart_script_end));
  if (name == "licence") return Escape(Embedded(tavi_chart_licence, tavi_chart_licence_end));
  if (name == "data") return EscapeJson(data);
  throw std::logic_error("the report's page has no part " + std::string(name));
}

}  // namespace

std::string MakeReportPage(const std::string& data) {
  constexpr std::string_view kMark = "@@";
  std::string_view rest = Embedded(tavi_report_page, tavi_report_page_end);
  std::string page;
  // What is put in is not looked at again: it may hold marks of its own.
  for (;;) {
    const size_t begin = rest.find(kMark);
    page += rest.substr(0, begin);
    if (begin == std::string_view::npos) return page;
    rest.remove_prefix(begin + kMark.size());
    const size_t end = rest.find(kMark);
    page += PartOfPage(rest.substr(0, end), data);
    rest.remove_prefix(end + kMark.size());
  }
}

}  // namespace brelmo::tavi::tools
