#include "console/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <fstream>
#include <new>

namespace brelmo::tavi::tools {

namespace {

// Whether the path names a descriptor of this process, which is open already.
bool IsOwnDescriptor(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::path folder = std::filesystem::canonical(path.parent_path(), error);
  if (!error && folder == std::filesystem::canonical("/proc/self/fd", error)) return true;
  if (!std::filesystem::is_symlink(path, error)) return false;
  folder = std::filesystem::read_symlink(path, error).parent_path();  // of /dev/stdin
  return folder == "/proc/self/fd" || folder == "/dev/fd";
}

class Descriptor {
 public:
  explicit Descriptor(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  int get() const { return fd_; }

 private:
  const int fd_;
};

[[noreturn]] void Fail(const std::string& path, int error) {
  throw InputError(path + ": cannot be read: " + std::strerror(error));
}

[[noreturn]] void FailAsTooLarge(const std::string& path, uint64_t most_bytes) {
  throw InputError(path + ": holds more than " + std::to_string(most_bytes >> 20U) +
                   " MiB, which is not read; is it the right file?");
}

}  // namespace

std::string EndlessKind(const std::string& path, bool follow_links) {
  struct stat status = {};
  const int result = follow_links ? stat(path.c_str(), &status) : lstat(path.c_str(), &status);
  if (result != 0) return "";
  if (S_ISFIFO(status.st_mode)) return "a pipe";
  if (S_ISBLK(status.st_mode)) return "a device";
  const bool is_null_device = status.st_rdev == makedev(1, 3);  // which ends at once
  return S_ISCHR(status.st_mode) && !is_null_device ? "a device" : "";
}

void RequireEnd(const std::string& path) {
  if (const std::string kind = EndlessKind(path); !kind.empty() && !IsOwnDescriptor(path)) {
    throw InputError(path + ": is " + kind +
                     ", which may have no end, and is not read; name a file");
  }
}

std::string ReadFile(const std::string& path, uint64_t most_bytes) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw InputError(path + ": is a folder");
  RequireEnd(path);
  const Descriptor file(path);
  if (file.get() < 0) Fail(path, errno);
  struct stat status = {};
  if (fstat(file.get(), &status) != 0) Fail(path, errno);
  if (static_cast<uint64_t>(status.st_size) > most_bytes) FailAsTooLarge(path, most_bytes);
  try {
    std::string content;
    content.reserve(static_cast<size_t>(status.st_size));
    for (std::string buffer(size_t{1} << 16, '\0');;) {
      const ssize_t size = read(file.get(), buffer.data(), buffer.size());
      if (size < 0 && errno == EINTR) continue;
      if (size < 0) Fail(path, errno);
      if (size == 0) return content;
      content.append(buffer, 0, static_cast<size_t>(size));
      // A pipe, or a file that grows as it is read.
      if (content.size() > most_bytes) FailAsTooLarge(path, most_bytes);
    }
  } catch (const std::bad_alloc&) {
    throw InputError(path + ": does not fit into the memory that there is");
  }
}

void WriteFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream stream(path, std::ios::binary);
  stream << content;
  if (!stream.flush()) throw InputError(path.string() + ": cannot be written");
}

}  // namespace brelmo::tavi::tools
