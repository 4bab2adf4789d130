// Where the data files of a configuration are, and whether one of them should be opened at all.
#pragma once

#include <string>
#include <vector>

#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

// What a person opens to see the file that a configuration calls `name`. `data_root` is the folder
// in the place of the device's own; empty for that one.
std::string DataFilePath(const std::string& name, const std::string& data_root);

// The paths of the data files of all cases that the module reads from `text`, each once.
std::vector<std::string> DataFilesOf(const std::string& text, const std::string& data_root);

// A file that the module would wait for, or read until the memory is used up.
struct EndlessFile {
  std::string what;  // "a pipe", "256 MiB long"; empty for any other file
  std::string consequence;

  explicit operator bool() const { return !what.empty(); }
};

// Looks at the file without opening it. A symbolic link is looked at itself: the module refuses it.
EndlessFile LookForEnd(const std::string& path);

// The configuration with no file in the place of each endless one: an engine then reads what can be
// read, and plays those channels flat.
audio::compensation::CompensationConfig WithoutEndlessFiles(
    audio::compensation::CompensationConfig config, const std::string& data_root);

}  // namespace brelmo::tavi::tools
