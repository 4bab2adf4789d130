#include "report/write_report.h"

#include <cstdio>

#include <algorithm>
#include <optional>
#include <string_view>

#include "console/input.h"
#include "console/wording.h"
#include "report/listen.h"
#include "report/report_page.h"

namespace brelmo::tavi::tools {

namespace {

// By what is at the beginning of a page, and of the data.
bool IsReport(std::string_view beginning) {
  return beginning.substr(0, kPageMark.size()) == kPageMark ||
         beginning.substr(0, kDataMark.size()) == kDataMark;
}

}  // namespace

void WriteReport(const std::string& text, const ReportOptions& options,
                 const ReportOutput& output) {
  const bool is_page = output.format == "html";
  if (output.path.empty() && is_page) {
    throw InputError("where to? Name the page with -o (- is standard output)");
  }
  const bool is_standard_output = output.path.empty() || output.path == "-";
  std::optional<OutputFile> file;
  if (!is_standard_output) {
    file.emplace(output.path, OutputRules{output.inputs, "a report", IsReport, output.is_forced});
  }
  nlohmann::ordered_json data = MakeReportData(text, options);
  if (!options.listen.empty()) {
    // What a page weighs at most, as far as its sound decides it.
    constexpr size_t kMostPage = 4'800'000;
    const size_t silent = MakeReportPage(DumpReportData(data)).size();
    data["listen"] = MakeListen(data, options.listen, kMostPage - std::min(kMostPage, silent));
  }
  const std::string json = DumpReportData(data);
  const std::string content = is_page ? MakeReportPage(json) : json + "\n";
  if (file) {
    file->Write(content);
    file->Commit();
  } else {
    std::fwrite(content.data(), 1, content.size(), stdout);
    FlushStandardOutput();
  }

  const auto count = [&data](const char* severity, const char* noun) {
    return Count(data["counts"][severity].get<size_t>(), noun);
  };
  std::FILE* const said = is_standard_output ? stderr : stdout;
  std::fprintf(said, "%s: %s of %s in force; %s, %s, %s\n",
               is_standard_output ? "report" : Printable(output.path).c_str(),
               std::to_string(data["module"]["cases_in_force"].get<size_t>()).c_str(),
               Count(data["cases"].size(), "case").c_str(), count("error", "error").c_str(),
               count("warning", "warning").c_str(), count("note", "note").c_str());
  if (options.against) {
    std::fprintf(said, "against %s: %s\n", Printable(options.against->old_config.path).c_str(),
                 options.against->Summary().c_str());
  }
}

}  // namespace brelmo::tavi::tools
