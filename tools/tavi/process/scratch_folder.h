// A folder of folders, one for each child process.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "console/input.h"

namespace brelmo::tavi::tools {

// Gone with the object.
class WorkFolder {
 public:
  // Throws InputError.
  WorkFolder() : path_((std::filesystem::temp_directory_path() / "tavi-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw InputError(path_ + ": cannot be made");
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder() { Remove(); }

  void Remove() const {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  // A new one in it. Any process may make one.
  std::string Make() const {
    std::string path = path_ + "/XXXXXX";
    if (mkdtemp(path.data()) == nullptr) throw InputError(path + ": cannot be made");
    return path;
  }

 private:
  std::string path_;
};

}  // namespace brelmo::tavi::tools
