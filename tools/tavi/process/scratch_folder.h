// A folder for as long as it is needed.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "process/machine_error.h"

namespace brelmo::tavi::tools {

// The destructor removes the folder with all that is in it, in whichever process it runs: a forked
// process may write into the folder and must end without destructors.
class ScratchFolder {
 public:
  // In the folder for temporary files. Throws MachineError.
  ScratchFolder() : ScratchFolder(TemporaryFiles()) {}
  explicit ScratchFolder(const std::filesystem::path& parent) : path_(MakeIn(parent.string())) {}
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }

  // Makes the folders in `name` as well. Throws MachineError.
  void Write(const std::string& name, const std::string& content) const {
    WriteFileIn(path_, name, content);
  }
  // A new folder in it. Throws MachineError.
  std::string Make() const { return MakeIn(path_); }

  // Writes `folder`/`name` and makes the folders in `name`. Throws MachineError.
  static void WriteFileIn(const std::string& folder, const std::string& name,
                          const std::string& content) {
    const std::filesystem::path file = folder + "/" + name;
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    errno = 0;
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    if (!stream.flush()) {
      throw MachineError(file.string() + ": cannot be written", errno != 0 ? errno : EIO);
    }
  }

 private:
  static std::string TemporaryFiles() {
    std::error_code error;
    const auto folder = std::filesystem::temp_directory_path(error);
    if (!error) return folder.string();
    const char* const name = std::getenv("TMPDIR");
    throw MachineError(
        std::string(name == nullptr ? "/tmp" : name) + ": is no folder for temporary files",
        error.value());
  }
  static std::string MakeIn(const std::string& parent) {
    std::string folder = std::filesystem::path(parent) / "tavi-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
      throw MachineError(parent + ": no folder for temporary files can be made in it", errno);
    }
    return folder;
  }

  std::string path_;
};

}  // namespace brelmo::tavi::tools
