// What every fuzzer needs: a way to say that a promise was broken, the log, and data files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "data_folder.h"
#include "log_capture.h"
#include "process/scratch_folder.h"

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

// The data folder of the process, in memory where there is such a file system. A proper end of the
// process removes it; a crash leaves it.
class Folder : public tools::ScratchFolder {
 public:
  Folder() : ScratchFolder(Parent()) {}

 private:
  static std::filesystem::path Parent() {
    const char* const memory = "/dev/shm";
    return access(memory, W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
  }

  simulator::DataFolder data_folder_{path()};
};

}  // namespace brelmo::tavi::fuzz
