#include "build/build.h"

#include <filesystem>
#include <map>
#include <utility>
#include <vector>

#include "build/folder_check.h"
#include "build/tuning.h"
#include "console/finding_text.h"
#include "console/input.h"
#include "console/output.h"
#include "console/sha256.h"
#include "console/terminal.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLinesTitle = "# Made by tavi build: ";

// The copy lines for a makefile that stands in the folder of `file`. Throws InputError.
std::string ProductLines(const Tuning& tuning, const std::string& folder, const std::string& file) {
  const fs::path from = fs::weakly_canonical(fs::absolute(file)).parent_path();
  const fs::path way = fs::weakly_canonical(fs::absolute(folder)).lexically_relative(from);
  std::string text = std::string(kLinesTitle) + "the data files of the tuning in " +
                     (way == "." ? "this folder" : way.string()) + "\nPRODUCT_COPY_FILES +=";
  if (way.string().find_first_of(" \t$#:\\") != std::string::npos) {
    throw InputError(file +
                     ": no makefile can name a path with a blank or one of $ # : \\ in it, as " +
                     way.string() + " has; build into a folder of another name");
  }
  const std::string start = "$(LOCAL_PATH)/" + (way == "." ? "" : way.string() + "/");
  for (const auto& [name, content] : tuning.files) {
    if (!IsDataFile(name)) continue;
    text.append(" \\\n    ").append(start).append(name);
    text.append(":$(TARGET_COPY_OUT_VENDOR)/").append(name);
  }
  return text + "\n";
}

// The name that the file has in the folder; empty for one elsewhere. Throws InputError for one that
// a tuning has itself.
std::string NameIn(const std::string& folder, const std::string& file, const Tuning& tuning) {
  const fs::path way = fs::weakly_canonical(fs::absolute(file))
                           .lexically_relative(fs::weakly_canonical(fs::absolute(folder)));
  if (way.empty() || *way.begin() == "..") return "";
  if (way == "." || way == OutputFolder::kManifest || tuning.files.count(way.string()) != 0) {
    throw InputError(file + ": is what the tuning itself is written to; name another file");
  }
  return way.string();
}

void Tell(const Tuning& tuning, bool is_colour) {
  for (size_t i = 0; i < tuning.made.size(); ++i) {
    for (size_t channel = 0; channel < kChannelKeys.size(); ++channel) {
      const std::string& told = tuning.made[i].channels[channel].told;
      if (told.empty()) continue;
      Print(is_colour, colour::kBold,
            tuning.project.postures[i].name + " " + kChannelKeys[channel]);
      Print(false, "", ": " + told + "\n");
    }
  }
}

}  // namespace

bool Build(const BuildOptions& options) {
  const bool is_colour = IsColourWanted();
  const Tuning tuning = MakeTuning(options.source, options.is_strict);
  for (const Finding& finding : tuning.findings) PrintFinding(finding, "", is_colour);
  if (tuning.files.empty()) {
    Print(false, "",
          Printable(options.source) + ": nothing was built, " + Printable(options.folder) +
              " is as it was\n");
    PrintFindingCounts(tuning.findings, is_colour);
    return false;
  }

  OutputRules rules;
  rules.inputs = tuning.inputs;
  rules.is_forced = options.is_forced || options.is_check;
  OutputFolder folder(options.folder, "tavi build", rules);
  std::map<std::string, std::string> files = tuning.files;
  std::string lines;  // that stand outside of the folder
  if (!options.product_lines.empty()) {
    lines = ProductLines(tuning, options.folder, options.product_lines);
    const std::string name = NameIn(options.folder, options.product_lines, tuning);
    if (!name.empty()) files[name] = std::exchange(lines, "");
  }
  for (const auto& [name, content] : files) folder.Add(name, content, Sha256(content));
  for (const std::string& remark : tuning.remarks) folder.AddRemark(remark);

  if (options.is_check) {
    std::vector<std::string> differences = DifferencesIn(options.folder, files, folder.Manifest());
    if (!lines.empty() && !IsFileOf(options.product_lines, lines)) {
      differences.push_back(options.product_lines + " is not what would be written");
    }
    for (const std::string& difference : differences) {
      Print(is_colour, colour::kRed, Printable(difference) + "\n");
    }
    Print(is_colour, differences.empty() ? colour::kGreen : colour::kBold,
          Printable(options.folder) + (differences.empty() ? ": is what " : ": is not what ") +
              Printable(options.source) + " makes\n");
    return differences.empty();
  }

  if (lines.empty()) {
    folder.Commit();
  } else {
    rules.kind = "a list of copy lines";
    rules.is_own = [](std::string_view beginning) {
      return beginning.substr(0, kLinesTitle.size()) == kLinesTitle;
    };
    OutputFile file(options.product_lines, rules);
    file.Write(lines);
    folder.Commit();
    file.Commit();
  }
  Tell(tuning, is_colour);
  Print(is_colour, colour::kBold, Printable(options.folder));
  Print(false, "",
        ": " + Count(tuning.project.postures.size(), "posture") + ", " +
            Count(kChannelKeys.size() * tuning.project.postures.size(), "data file") + "; see " +
            kReportFile + " in it\n");
  if (!tuning.findings.empty()) PrintFindingCounts(tuning.findings, is_colour);
  return true;
}

}  // namespace brelmo::tavi::tools
