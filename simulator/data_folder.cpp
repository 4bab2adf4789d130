#include "data_folder.h"

#include <cstdarg>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <forward_list>
#include <string_view>

#include <linux/fcntl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

// <fcntl.h> stays out: it may define the functions that this file defines, inline.

namespace brelmo::tavi::simulator {

namespace {

// The folder in force, with a final slash; null before there is one. What it ever pointed at is
// kept: another thread may be in the middle of an open.
std::atomic<const std::string*> current_folder = nullptr;

std::forward_list<std::string>& FoldersEverUsed() {
  static auto* const folders = new std::forward_list<std::string>;
  return *folders;
}

// Whether a relative path leaves its starting folder on the way, by its text.
bool ClimbsOut(std::string_view path) {
  int depth = 0;
  while (!path.empty()) {
    const std::string_view component = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(component.size() + 1, path.size()));
    if (component == "..") {
      if (--depth < 0) return true;
    } else if (!component.empty() && component != ".") {
      ++depth;
    }
  }
  return false;
}

int Open(const char* path, int flags, mode_t mode) {
  const std::string* const folder = current_folder.load(std::memory_order_acquire);
  if (folder != nullptr && path != nullptr) {
    if (const auto name = DataFolder::NameInFolder(path)) {
      const std::string redirected = *folder + *name;
      return static_cast<int>(syscall(SYS_openat, AT_FDCWD, redirected.c_str(), flags, mode));
    }
  }
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// The mode is among the arguments only with flags that can create a file.
int OpenWith(const char* path, int flags, va_list arguments) {
  const bool has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return Open(path, flags, has_mode ? va_arg(arguments, mode_t) : 0);
}

}  // namespace

DataFolder::DataFolder(const std::string& folder) {
  FoldersEverUsed().push_front(folder.empty() || folder.back() == '/' ? folder : folder + "/");
  current_folder.store(&FoldersEverUsed().front(), std::memory_order_release);
}

DataFolder::~DataFolder() { current_folder.store(nullptr, std::memory_order_release); }

std::optional<std::string> DataFolder::NameInFolder(std::string_view path) {
  const std::string_view folder = kDevicePath;
  if (path.substr(0, folder.size()) != folder) return std::nullopt;
  const std::string_view name = path.substr(folder.size());
  if (!ClimbsOut(name)) return std::string(name);
  // It may come back in.
  const std::string normal = std::filesystem::path(path).lexically_normal().string();
  if (normal.compare(0, folder.size(), folder) != 0) return std::nullopt;
  return normal.substr(folder.size());
}

}  // namespace brelmo::tavi::simulator

// NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name):
// the names and the forms are the C library's.
extern "C" {

#define TAVI_EXPORT __attribute__((visibility("default")))

TAVI_EXPORT int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int fd = brelmo::tavi::simulator::OpenWith(path, flags, arguments);
  va_end(arguments);
  return fd;
}

TAVI_EXPORT int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int fd = brelmo::tavi::simulator::OpenWith(path, flags, arguments);
  va_end(arguments);
  return fd;
}

// What fortified callers use; never with flags that create.
TAVI_EXPORT int __open_2(const char* path, int flags) {
  return brelmo::tavi::simulator::Open(path, flags, 0);
}

TAVI_EXPORT int __open64_2(const char* path, int flags) {
  return brelmo::tavi::simulator::Open(path, flags, 0);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
