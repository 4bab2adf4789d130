#include "build/tuning.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

#include "build/config_source.h"
#include "build/curves_data.h"
#include "build/source_files.h"
#include "check/tuning_files.h"
#include "console/input.h"
#include "console/progress.h"
#include "console/sha256.h"
#include "console/wording.h"
#include "data_folder.h"
#include "process/scratch_folder.h"
#include "report/report_data.h"
#include "report/report_page.h"

namespace brelmo::tavi::tools {

namespace {

// Each index once, on as many threads as there are processors. What is thrown first, by index, is
// thrown on.
void ForEachInParallel(size_t count, const std::function<void(size_t)>& work) {
  std::atomic<size_t> next = 0;
  std::vector<std::exception_ptr> errors(count);
  const auto run = [&] {
    for (size_t i = next++; i < count; i = next++) {
      try {
        work(i);
      } catch (...) {
        errors[i] = std::current_exception();
      }
    }
  };
  std::vector<std::thread> threads;
  const size_t processors = std::max(1U, std::thread::hardware_concurrency());
  try {
    for (size_t i = 1; i < std::min(processors, count); ++i) threads.emplace_back(run);
  } catch (const std::system_error&) {
    // Where there may be no more threads, those that there are do the work.
  }
  run();
  for (std::thread& thread : threads) thread.join();
  for (const std::exception_ptr& error : errors) {
    if (error) std::rethrow_exception(error);
  }
}

// In all texts of the value, before they are written with escapes.
void ReplaceInTexts(nlohmann::ordered_json& value, const std::string& what, const std::string& by) {
  if (value.is_string()) {
    ReplaceAll(value.get_ref<std::string&>(), what, by);
  } else if (value.is_structured()) {
    for (nlohmann::ordered_json& part : value) ReplaceInTexts(part, what, by);
  }
}

class TuningMaker {
 public:
  TuningMaker(const std::string& path, const std::string& content, bool is_strict)
      : path_(path), is_strict_(is_strict), sha256_(Sha256(content)), source_(content, path) {}

  Tuning Run() {
    tuning_.project = ReadProject(source_);
    tuning_.findings = source_.Take();
    if (IsRefused()) return Refused();
    SourceFiles files(std::filesystem::path(path_).parent_path().string());
    MakePostures(files);
    if (IsRefused()) return Refused();
    // The warnings of the configuration are worth seeing besides those of the measurements.
    Check();
    if (IsRefused() || IsBroken(tuning_.findings, is_strict_)) return Refused();
    PutRemarks(files);
    return std::move(tuning_);
  }

 private:
  bool IsKnown(const Finding& finding) const {
    return std::any_of(tuning_.findings.begin(), tuning_.findings.end(),
                       [&finding](const Finding& known) {
                         return known.line == finding.line && known.column == finding.column &&
                                known.name == finding.name && known.message == finding.message;
                       });
  }

  bool IsRefused() const { return CountOf(tuning_.findings, Severity::kError) > 0; }

  Tuning Refused() {
    Tuning refused;
    refused.findings = std::move(tuning_.findings);
    return refused;
  }

  void MakePostures(SourceFiles& files) {
    const Project& project = tuning_.project;
    tuning_.made.resize(project.postures.size());
    Progress progress(project.postures.size(), "posture");
    ForEachInParallel(project.postures.size(), [&](size_t i) {
      tuning_.made[i] = MakePosture(project.postures[i], project, source_, files);
      progress.Advance();
    });
    for (size_t i = 0; i < project.postures.size(); ++i) {
      MadePosture& made = tuning_.made[i];
      for (Finding& finding : made.findings) {
        // What is wrong of a mask that all postures have is wrong once.
        if (!IsKnown(finding)) tuning_.findings.push_back(std::move(finding));
      }
      for (size_t channel = 0; channel < kChannelKeys.size(); ++channel) {
        const std::string name = DataFileName(project, project.postures[i], channel);
        tuning_.files[std::string(kDataFolder) + "/" + name] = made.channels[channel].content;
      }
    }
  }

  void Check() {
    const ScratchFolder scratch;
    for (const auto& [name, content] : tuning_.files) scratch.Write(name, content);
    const std::string data_root = scratch.path(kDataFolder);
    const std::string config = ConfigLine(tuning_.project);
    const simulator::DataFolder in_force(data_root);
    ReportOptions options;
    options.check.config_name = kConfigFile;
    options.check.data_root = data_root;
    options.check.max_gain_db = tuning_.project.max_gain_db;
    options.check.filter.rate = tuning_.project.rate;
    options.config_sha256 = Sha256(config + "\n");
    for (Finding& finding : FindingsInSource(CheckConfig(config, options.check), config, data_root,
                                             tuning_.project, source_)) {
      tuning_.findings.push_back(std::move(finding));
    }
    if (IsRefused()) return;
    nlohmann::ordered_json data = MakeReportData(config, options);
    PutCurves(tuning_, data);
    ReplaceInTexts(data, data_root, kDataFolder);
    tuning_.files[kConfigFile] = config + "\n";
    tuning_.files[kReportFile] = MakeReportPage(DumpReportData(data));
  }

  void PutRemarks(const SourceFiles& files) {
    const Project& project = tuning_.project;
    // A line feed in its name must not begin a line of the manifest.
    const std::string source = Printable(std::filesystem::path(path_).filename().string());
    tuning_.remarks.push_back(Format("tavi %s, rate %.10g Hz, max_gain %.10g dB", TAVI_VERSION,
                                     project.rate, project.max_gain_db));
    tuning_.remarks.push_back("input\t" + source + "\t" + sha256_);
    tuning_.inputs.push_back({path_, "the source"});
    for (const auto& [path, hash] : files.Hashes()) {
      tuning_.remarks.push_back("input\t" + path);
      tuning_.remarks.back().append("\t").append(hash);
      tuning_.inputs.push_back({files.PathOf(path), "a file that the source names"});
    }
    for (size_t i = 0; i < project.postures.size(); ++i) {
      for (size_t channel = 0; channel < kChannelKeys.size(); ++channel) {
        tuning_.remarks.push_back(project.postures[i].name + " " + kChannelKeys[channel] + ": " +
                                  tuning_.made[i].channels[channel].options);
      }
    }
  }

  const std::string path_;
  const bool is_strict_;
  const std::string sha256_;  // of what was read as the source, which may be another by now
  TomlSource source_;
  Tuning tuning_;
};

}  // namespace

bool IsDataFile(const std::string& name) {
  return name.rfind(std::string(kDataFolder) + "/", 0) == 0;
}

Tuning MakeTuning(const std::string& source_path, bool is_strict) {
  return TuningMaker(source_path, ReadFile(source_path), is_strict).Run();
}

}  // namespace brelmo::tavi::tools
