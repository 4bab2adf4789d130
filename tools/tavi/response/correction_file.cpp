#include "response/correction_file.h"

#include <cstdio>

#include <algorithm>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "console/finding_text.h"
#include "console/input.h"
#include "console/json_text.h"
#include "console/output.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "response/correction_text.h"
#include "response/data_file.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

bool IsJson(const CorrectionFiles& files) { return files.format == "json"; }

// Findings of the sums stand in no line of the file.
void Append(std::vector<Finding> more, const std::string& file, std::vector<Finding>& findings) {
  for (Finding& finding : more) {
    if (finding.file.empty()) finding.file = file;
    findings.push_back(std::move(finding));
  }
}

void Say(const CorrectionFiles& files, const ReadResult& read, const std::vector<Finding>& findings,
         const Json& json, const std::string& text) {
  if (IsJson(files)) {
    // A file name may hold any bytes.
    std::printf("%s\n", JsonText(json, 2).c_str());
    return;
  }
  const bool is_colour = IsColourWanted();
  for (const Finding& finding : findings) PrintFinding(finding, "", is_colour);
  // Of a file that was refused the findings say what was understood, and where that ended.
  if (read.measurement) {
    Print(false, "", Printable(files.input) + ": " + SummaryText(read.summary) + "\n");
  }
  if (!text.empty()) {
    Print(is_colour, colour::kBold, Printable(files.output));
    Print(false, "", ": " + text);
  }
  if (!findings.empty()) PrintFindingCounts(findings, is_colour);
}

void Write(const CorrectionFiles& files, const std::vector<Complex>& bins,
           const std::vector<InputFile>& inputs) {
  if (files.output == "-") {
    throw InputError("-: standard output has what is said of the file; name a file with -o");
  }
  OutputRules rules;
  rules.inputs = inputs;
  rules.is_forced = files.is_forced;
  OutputFile output(files.output, rules);
  output.Write(DataFileText(bins));
  output.Commit();
}

}  // namespace

bool WriteDesign(const CorrectionFiles& files, const ReadOptions& reading,
                 const DesignSources& sources, DesignOptions options) {
  std::vector<InputFile> inputs = {{files.input, "the measurement"}};
  if (!sources.mask.empty()) {
    options.mask = LoadMask(sources.mask);
    inputs.push_back({sources.mask, "the mask"});
  }
  const ReadResult read = ReadMeasurement(files.input, reading);
  std::vector<Finding> findings = read.findings;
  bool is_refused = !read.measurement.has_value();
  if (sources.target != kFlatTarget) {
    inputs.push_back({sources.target, "the target"});
    const ReadResult target = ReadMeasurement(sources.target, TargetReading(reading));
    findings.insert(findings.end(), target.findings.begin(), target.findings.end());
    if (target.measurement) {
      options.target = Curve{target.measurement->frequency_hz, target.measurement->magnitude_db};
    } else {
      is_refused = true;
    }
  }
  Design design;
  if (!is_refused) {
    design = DesignCorrection(*read.measurement, options);
    Append(design.findings, files.input, findings);
    is_refused = design.bins.empty();
  }
  if (!is_refused) Write(files, design.bins, inputs);
  Say(files, read, findings, DesignToJson(read, findings, design, options),
      is_refused ? "" : DesignText(design, options));
  return !is_refused;
}

bool WriteImport(const CorrectionFiles& files, const ReadOptions& reading,
                 const ImportOptions& options) {
  ReadResult read = ReadMeasurement(files.input, reading);
  if (options.is_delay_removed && read.measurement && read.measurement->impulse.empty()) {
    // From the phase of a response a delay of any length can be taken; a filter is moved by whole
    // samples.
    ReadOptions without_delay = reading;
    without_delay.delay = DelayPolicy::kRemove;
    read = ReadMeasurement(files.input, without_delay);
  }
  std::vector<Finding> findings = read.findings;
  Import import;
  if (read.measurement) {
    import = ImportCorrection(*read.measurement, options);
    Append(import.findings, files.input, findings);
    Write(files, import.bins, {{files.input, "the correction"}});
  }
  Say(files, read, findings, ImportToJson(read, findings, import, options),
      read.measurement ? ImportText(import, options) : "");
  return read.measurement.has_value();
}

}  // namespace brelmo::tavi::tools
