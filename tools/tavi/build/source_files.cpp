#include "build/source_files.h"

#include <filesystem>
#include <utility>

#include "console/input.h"
#include "console/sha256.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {

std::string SourceFiles::PathOf(const std::string& path) const {
  return (std::filesystem::path(folder_) / path).string();
}

const std::string& SourceFiles::Read(const std::string& path) {
  {
    const std::lock_guard lock(mutex_);
    const auto at = contents_.find(path);
    if (at != contents_.end()) return at->second;
  }
  std::string content = ReadFile(PathOf(path), kMaxMeasurementBytes);
  const std::lock_guard lock(mutex_);
  return contents_.emplace(path, std::move(content)).first->second;
}

std::map<std::string, std::string> SourceFiles::Hashes() const {
  std::map<std::string, std::string> hashes;
  for (const auto& [path, content] : contents_) hashes[path] = Sha256(content);
  return hashes;
}

}  // namespace brelmo::tavi::tools
