// The files that a source names.
#pragma once

#include <map>
#include <mutex>
#include <string>

namespace brelmo::tavi::tools {

// Each is read once, so that what is used is what its hash tells. Safe on any thread.
class SourceFiles {
 public:
  // `folder`: what paths are relative to.
  explicit SourceFiles(std::string folder) : folder_(std::move(folder)) {}

  // The bytes of a file; `path` is as the source has it. Throws InputError.
  const std::string& Read(const std::string& path);
  // From the working folder.
  std::string PathOf(const std::string& path) const;
  // The SHA-256 of what was read, by the path in the source. No thread reads any more.
  std::map<std::string, std::string> Hashes() const;

 private:
  const std::string folder_;
  std::mutex mutex_;
  std::map<std::string, std::string> contents_;
};

}  // namespace brelmo::tavi::tools
