#include "diagnose/diagnose_files.h"

#include <algorithm>

#include "console/input.h"
#include "console/progress.h"
#include "console/terminal.h"
#include "diagnose/diagnosis.h"

namespace brelmo::tavi::tools {

namespace {

// As a host hands it over.
std::string ReadConfig(const std::string& path) {
  std::string text = ReadFile(path);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (const size_t at = text.find('\0'); at != std::string::npos) {
    throw InputError(path + ": byte " + std::to_string(at + 1) +
                     " is a null character, where a host would end the text");
  }
  return text;
}

std::vector<CandidateSource> ReadSources(const DiagnoseOptions& options) {
  const auto& roots = options.data_roots;
  const size_t count = options.configs.size() + options.config_texts.size();
  if (roots.size() > 1 && roots.size() != count) {
    throw InputError("--data-root is given " + std::to_string(roots.size()) +
                     " times and --config " + std::to_string(count) +
                     " times; give one folder for all configurations, or one for each");
  }
  if (!roots.empty() && count == 0) {
    throw InputError("--data-root has no --config whose data files it could hold");
  }
  std::vector<CandidateSource> sources;
  for (size_t i = 0; i < count; ++i) {
    CandidateSource source;
    if (i < options.configs.size()) {
      source.name = options.configs[i];
      source.text = ReadConfig(options.configs[i]);
    } else {
      source.text = options.config_texts[i - options.configs.size()];
      source.name = "configuration " + std::to_string(i + 1);
    }
    if (!roots.empty()) source.data_root = roots.size() == 1 ? roots[0] : roots[i];
    // One configuration with the files of two folders is two candidates.
    const auto same = std::find_if(sources.begin(), sources.end(), [&source](const auto& other) {
      return other.name == source.name;
    });
    if (same != sources.end()) {
      same->name += " with " + same->data_root;
      source.name += " with " + source.data_root;
    }
    sources.push_back(std::move(source));
  }
  return sources;
}

}  // namespace

int DiagnoseFiles(const DiagnoseOptions& options) {
  const std::vector<CandidateSource> sources = ReadSources(options);
  Material material;
  {
    ProgressBar bar("reading");
    material = ReadMaterial(options.files, [&bar](uint64_t done, std::optional<uint64_t> total) {
      bar.Show(done, total);
    });
  }
  const Diagnosis diagnosis = Diagnose(std::move(material), sources);
  if (options.write_config && !diagnosis.recovered) {
    throw InputError("there is no whole dump that the configuration could be taken from");
  }
  if (options.format == "json") {
    PrintDiagnosisAsJson(diagnosis);
  } else {
    PrintDiagnosis(diagnosis, IsColourWanted());
  }
  if (options.scenario) WriteFile(*options.scenario, WriteScenario(diagnosis));
  if (options.write_config) WriteFile(*options.write_config, diagnosis.recovered->text + "\n");
  const bool is_something_wrong =
      std::any_of(diagnosis.findings.begin(), diagnosis.findings.end(),
                  [](const auto& found) { return found.finding.severity != Severity::kNote; });
  return is_something_wrong ? 1 : 0;
}

}  // namespace brelmo::tavi::tools
