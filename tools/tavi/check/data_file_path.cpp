#include "check/data_file_path.h"

#include <sys/stat.h>

#include <unordered_map>
#include <unordered_set>

#include "console/input.h"
#include "data_folder.h"
#include "log_capture.h"

namespace brelmo::tavi::tools {

using audio::compensation::CompensationConfig;
using audio::compensation::TelephonySpeakerCompensation;

std::string DataFilePath(const std::string& name, const std::string& data_root) {
  std::string path = simulator::DataFolder::kDevicePath + name;
  const auto in_folder = simulator::DataFolder::NameInFolder(path);
  if (data_root.empty() || !in_folder) return path;
  return data_root + (data_root.back() == '/' ? "" : "/") + *in_folder;
}

std::vector<std::string> DataFilesOf(const std::string& text, const std::string& data_root) {
  const simulator::LogCapture silence([](const simulator::LogLine&) {});
  std::vector<std::string> paths;
  std::unordered_set<std::string> seen;
  for (const auto& case_config : TelephonySpeakerCompensation::GetConfig(text).cases) {
    for (const auto& [channel, name] : case_config.outputs) {
      if (seen.insert(name).second) paths.push_back(DataFilePath(name, data_root));
    }
  }
  return paths;
}

EndlessFile LookForEnd(const std::string& path) {
  const std::string kind = EndlessKind(path, /*follow_links=*/false);
  if (kind == "a pipe") {
    return {kind,
            "the module opens it at init and waits until somebody writes to it, and the audio HAL "
            "with the module"};
  }
  if (!kind.empty()) {
    return {kind,
            "the module reads it at init until it ends, which may be never, or until the memory is "
            "used up"};
  }
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  if (static_cast<uint64_t>(status.st_size) <= kMostTextBytes) return {};
  return {std::to_string(status.st_size >> 20) + " MiB long",
          "the module reads all of it into the memory at init"};
}

CompensationConfig WithoutEndlessFiles(CompensationConfig config, const std::string& data_root) {
  std::unordered_map<std::string, bool> is_endless;
  for (auto& case_config : config.cases) {
    for (auto& [channel, name] : case_config.outputs) {
      const auto [known, is_new] = is_endless.emplace(name, false);
      if (is_new) known->second = static_cast<bool>(LookForEnd(DataFilePath(name, data_root)));
      if (known->second) name.clear();
    }
  }
  return config;
}

}  // namespace brelmo::tavi::tools
