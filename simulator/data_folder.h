// Puts another folder in the place of the module's data folder, /vendor/etc/.
//
// The module reads its data files under an absolute path. An executable that links this file and
// exports its symbols answers those opens itself (the C library's `open` family is found in the
// executable first), for the module as well as for libraries that it calls. Needs no privileges and
// writes nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace brelmo::tavi::simulator {

// While one lives, opens of "/vendor/etc/NAME" anywhere in the process open FOLDER/NAME instead,
// with the caller's flags. At most one may live at a time; any thread may open.
class DataFolder {
 public:
  static constexpr const char* kDevicePath = "/vendor/etc/";

  explicit DataFolder(const std::string& folder);
  DataFolder(const DataFolder&) = delete;
  DataFolder& operator=(const DataFolder&) = delete;
  ~DataFolder();

  // The NAME of a path. Empty for a path outside of the data folder, one that leaves it by ".."
  // included.
  static std::optional<std::string> NameInFolder(std::string_view path);
};

}  // namespace brelmo::tavi::simulator
