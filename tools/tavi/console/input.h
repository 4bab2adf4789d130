// Files that a user names. What is written for a user is in output.h.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace brelmo::tavi::tools {

// Input that cannot be used: what() names it and says why. The command ends with exit code 2.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The bytes of a file. Throws InputError.
std::string ReadFile(const std::string& path);

// The content of a new file of tavi's own (in a temporary folder). Throws InputError.
void WriteFile(const std::filesystem::path& path, const std::string& content);

}  // namespace brelmo::tavi::tools
