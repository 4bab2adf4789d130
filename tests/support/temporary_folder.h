// A folder of files that lives as long as a test needs it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace brelmo::tavi::test {

class TemporaryFolder {
 public:
  TemporaryFolder() : path_(testing::TempDir() + "tavi_test_XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder: " + path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }

  // Makes the folders in `name` as well.
  void Write(const std::string& name, const std::string& content) const {
    const std::filesystem::path file(path(name));
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
  }

 private:
  std::string path_;
};

}  // namespace brelmo::tavi::test
