#include "check/tuning_files.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "check/data_file_path.h"
#include "console/input.h"

namespace brelmo::tavi::tools {

namespace fs = std::filesystem;

std::string HostText(const std::string& path, std::string content) {
  if (!content.empty() && content.back() == '\n') content.pop_back();
  if (const size_t at = content.find('\0'); at != std::string::npos) {
    throw InputError(path + ": byte " + std::to_string(at + 1) +
                     " is a null character, where a host would end the text");
  }
  return content;
}

TuningFiles FindTuning(const std::string& path, const std::string& data_root) {
  std::error_code error;
  if (!fs::is_directory(path, error)) return {path, "", data_root};
  const fs::path folder = path;
  if (!fs::exists(folder / kConfigFile, error)) {
    throw InputError(path + ": is a folder without " + kConfigFile +
                     ", so it is no tuning; name a configuration, and the folder of its data files "
                     "beside it (--old-root for the old one), or a folder of tavi build");
  }
  return {(folder / kConfigFile).string(), "",
          data_root.empty() ? (folder / kDataFolder).string() : data_root};
}

TuningFiles WithText(TuningFiles tuning, std::string content) {
  tuning.text = HostText(tuning.path, std::move(content));
  RequireDataFolder(tuning.data_root);
  // One file that is missing is the tuning's fault, and played flat; all of them are elsewhere.
  const std::vector<std::string> files = DataFilesOf(tuning.text, tuning.data_root);
  std::error_code error;
  if (!files.empty() && std::none_of(files.begin(), files.end(), [&error](const auto& file) {
        return fs::exists(fs::symlink_status(file, error));
      })) {
    throw InputError(tuning.path + ": none of its data files is there, not even " + files.front() +
                     ": what the DSP would be sent cannot be said; name the folder that they are "
                     "in, the old ones' with --old-root");
  }
  RequireFiniteDataFiles(tuning.text, tuning.data_root);
  return tuning;
}

std::vector<InputFile> DataFileInputs(const std::string& text, const std::string& data_root,
                                      const std::string& whose) {
  std::vector<InputFile> inputs;
  for (const std::string& path : DataFilesOf(text, data_root)) {
    inputs.push_back({path, "a data file of " + whose});
  }
  return inputs;
}

void RequireDataFolder(const std::string& data_root) {
  std::error_code error;
  if (data_root.empty() || fs::is_directory(data_root, error)) return;
  throw InputError(data_root + ": is no folder to take data files from");
}

std::optional<simulator::DataFolder> UseDataFolder(const std::string& data_root) {
  RequireDataFolder(data_root);
  if (data_root.empty()) return std::nullopt;
  return std::optional<simulator::DataFolder>(std::in_place, fs::absolute(data_root).string());
}

void RequireFiniteDataFiles(const std::string& text, const std::string& data_root) {
  for (const std::string& path : DataFilesOf(text, data_root)) {
    if (const EndlessFile endless = LookForEnd(path)) {
      throw InputError(path + ": is " + endless.what + ": " + endless.consequence +
                       "; put a data file in its place");
    }
  }
}

}  // namespace brelmo::tavi::tools
