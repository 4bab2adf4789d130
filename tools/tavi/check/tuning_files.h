// The files of a tuning: a configuration's text, and the data files that it names.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "data_folder.h"

namespace brelmo::tavi::tools {

// A tuning in a folder, as tavi build makes it: its configuration, and the folder with the data
// files.
constexpr const char* kConfigFile = "device.conf";
constexpr const char* kDataFolder = "etc";

struct TuningFiles {
  std::string path;       // of the configuration
  std::string text;       // see HostText
  std::string data_root;  // of its data files; empty: the device's own
};

// The text of a file with this content as the host would hand it over: without one final line feed.
// Throws InputError.
std::string HostText(const std::string& path, std::string content);

// Where a tuning is that a user names by its configuration or by its folder, whose own data files
// are meant unless `data_root` names others. The text is not read.
// Throws InputError.
TuningFiles FindTuning(const std::string& path, const std::string& data_root);
// The same with its text, which is that of a file with this content. Throws InputError when none of
// its data files can be there: it would be flat all over, which nobody compares with.
TuningFiles WithText(TuningFiles tuning, std::string content);

// The data files that `text` names: no output may take the place of one. `whose`: "the
// configuration".
std::vector<InputFile> DataFileInputs(const std::string& text, const std::string& data_root,
                                      const std::string& whose);

// Throws InputError when `data_root` is neither empty nor a folder.
void RequireDataFolder(const std::string& data_root);
// Puts it in force, where it is not empty, for as long as the result lives. Throws InputError as
// above.
std::optional<simulator::DataFolder> UseDataFolder(const std::string& data_root);
// Throws InputError when a data file that `text` names is one that the module would read, or wait
// for, without end.
void RequireFiniteDataFiles(const std::string& text, const std::string& data_root);

}  // namespace brelmo::tavi::tools
