#include "diagnose/diagnose_files.h"

#include <filesystem>
#include <string_view>
#include <utility>

#include "console/input.h"
#include "console/progress.h"
#include "console/terminal.h"
#include "diagnose/diagnosis.h"

namespace brelmo::tavi::tools {

namespace {

// The first line of what WriteScenario gives.
bool IsOwnScenario(std::string_view beginning) {
  return beginning.substr(0, kScenarioHead.size()) == kScenarioHead;
}

// A pipe or a device takes both, one after the other.
bool AreOneFile(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  return EndlessKind(a).empty() &&
         fs::weakly_canonical(fs::absolute(a)) == fs::weakly_canonical(fs::absolute(b));
}

}  // namespace

int DiagnoseFiles(const DiagnoseOptions& options) {
  if (options.scenario && options.write_config &&
      AreOneFile(*options.scenario, *options.write_config)) {
    throw InputError(*options.scenario +
                     ": cannot hold both the scenario and the configuration; name two files");
  }
  std::vector<InputFile> inputs = options.inputs;
  for (const std::string& file : options.files) inputs.push_back({file, "a file to diagnose"});
  // Before the work: where they may not be written, nothing is to be done.
  std::optional<OutputFile> scenario;
  if (options.scenario) {
    scenario.emplace(*options.scenario, OutputRules{inputs, "a scenario of `tavi diagnose`",
                                                    IsOwnScenario, options.is_forced});
  }
  std::optional<OutputFile> config;
  if (options.write_config) {
    config.emplace(*options.write_config, OutputRules{inputs, "", nullptr, options.is_forced});
  }
  Material material;
  {
    Progress progress(std::nullopt, "megabyte");
    material =
        ReadMaterial(options.files, [&progress](uint64_t done, std::optional<uint64_t> total) {
          constexpr uint64_t kMegabyte = 1000000;
          if (total) *total /= kMegabyte;
          progress.Set(done / kMegabyte, total);
        });
  }
  const Diagnosis diagnosis = Diagnose(std::move(material), options.candidates);
  if (options.write_config && !diagnosis.recovered) {
    throw InputError("there is no whole dump that the configuration could be taken from");
  }
  if (options.format == "json") {
    PrintDiagnosisAsJson(diagnosis);
  } else {
    PrintDiagnosis(diagnosis, IsColourWanted());
  }
  if (scenario) {
    scenario->Write(WriteScenario(diagnosis));
    scenario->Commit();
  }
  if (config) {
    config->Write(diagnosis.recovered->text + "\n");
    config->Commit();
  }
  return diagnosis.is_something_wrong() ? 1 : 0;
}

}  // namespace brelmo::tavi::tools
