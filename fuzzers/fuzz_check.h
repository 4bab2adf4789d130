// What every fuzzer needs: a way to say that a promise was broken, the log, and data files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "data_folder.h"
#include "log_capture.h"

namespace brelmo::tavi::fuzz {

// Ends the process, which is how a fuzzer keeps the input.
[[noreturn]] inline void Fail(const char* file, int line, const std::string& what) {
  std::cerr << file << ":" << line << ": broken: " << what << std::endl;
  std::abort();
}

#define FUZZ_CHECK(condition) \
  ((condition) ? void() : brelmo::tavi::fuzz::Fail(__FILE__, __LINE__, #condition))
#define FUZZ_CHECK_EQ(left, right)                                                               \
  ((left) == (right) ? void()                                                                    \
                     : brelmo::tavi::fuzz::Fail(__FILE__, __LINE__,                              \
                                                #left " == " #right ": \"" + std::string(left) + \
                                                    "\" is not \"" + std::string(right) + "\""))

// The texts of the lines logged meanwhile.
class Log {
 public:
  const std::vector<std::string>& lines() const { return lines_; }
  // How many lines begin so.
  size_t Count(const std::string& beginning) const {
    size_t count = 0;
    for (const std::string& line : lines_) count += line.rfind(beginning, 0) == 0 ? 1 : 0;
    return count;
  }

 private:
  std::vector<std::string> lines_;
  simulator::LogCapture capture_{
      [this](const simulator::LogLine& line) { lines_.push_back(line.text); }};
};

// The data folder of the process, in memory where there is such a file system. It goes when the
// process ends properly; a crash leaves it.
class Folder {
 public:
  Folder() : path_(MakePath()), data_folder_(path_) {}
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string path(const std::string& name) const { return path_ + "/" + name; }
  void Write(const std::string& name, const std::string& content) const {
    std::ofstream stream(path(name), std::ios::binary);
    stream << content;
    if (!stream.flush()) Fail(__FILE__, __LINE__, "cannot write " + path(name));
  }

 private:
  static std::string MakePath() {
    const std::filesystem::path memory("/dev/shm");
    std::string path =
        ((access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path()) /
         "tavi_fuzz_XXXXXX")
            .string();
    if (mkdtemp(path.data()) == nullptr) Fail(__FILE__, __LINE__, "no folder " + path);
    return path;
  }

  std::string path_;
  simulator::DataFolder data_folder_;
};

}  // namespace brelmo::tavi::fuzz
