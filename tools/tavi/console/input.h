// Files that a user names. What is written for a user is in output.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace brelmo::tavi::tools {

// Input that cannot be used: what() names it and says why. The command ends with exit code 2.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a text of a user's may hold at most.
constexpr uint64_t kMostTextBytes = uint64_t{64} << 20;

// What a file is that may be read for ever: "a pipe", "a device". Empty for every other file, and
// for a missing one. Looks without opening, because opening may wait for ever, too. `follow_links`:
// of the file that a symbolic link leads to.
std::string EndlessKind(const std::string& path, bool follow_links = true);

// Throws InputError for a file that may be read for ever, unless this process was given it
// (/dev/stdin, the shell's "<(...)").
void RequireEnd(const std::string& path);

// The bytes of a file. Throws InputError, for one that may have no end, too. A pipe that this
// process was given is read (/dev/stdin, the shell's "<(...)").
std::string ReadFile(const std::string& path, uint64_t most_bytes = kMostTextBytes);

// The content of a new file of tavi's own (in a temporary folder). Throws InputError.
void WriteFile(const std::filesystem::path& path, const std::string& content);

}  // namespace brelmo::tavi::tools
