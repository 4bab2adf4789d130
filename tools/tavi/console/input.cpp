#include "console/input.h"

#include <cerrno>
#include <cstring>

#include <fstream>

#include <android-base/file.h>

namespace brelmo::tavi::tools {

std::string ReadFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw InputError(path + ": is a folder");
  std::string content;
  if (!android::base::ReadFileToString(path, &content, /*follow_symlinks=*/true)) {
    throw InputError(path + ": cannot be read: " + std::strerror(errno));
  }
  return content;
}

void WriteFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream stream(path, std::ios::binary);
  stream << content;
  if (!stream.flush()) throw InputError(path.string() + ": cannot be written");
}

}  // namespace brelmo::tavi::tools
