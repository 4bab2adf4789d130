#include "data_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include <android-base/file.h>
#include <gmock/gmock.h>

#include "process/scratch_folder.h"

namespace brelmo::tavi::test {
namespace {

constexpr const char* kUnread = "cannot be opened";

std::string Read(const std::string& path, bool follow_symlinks = false) {
  std::string content;
  return android::base::ReadFileToString(path, &content, follow_symlinks) ? content : kUnread;
}

class DataFolderTest : public testing::Test {
 protected:
  DataFolderTest() {
    files_.Write("outside.txt", "outside");
    files_.Write("data/tavi_unit.txt", "inside");
    files_.Write("data/sub/deep.txt", "deep");
    std::filesystem::create_symlink("tavi_unit.txt", files_.path("data/link.txt"));
  }

  tools::ScratchFolder files_;
  std::optional<simulator::DataFolder> folder_{std::in_place, files_.path("data")};
};

TEST_F(DataFolderTest, RedirectsNamesThatStayInside) {
  EXPECT_EQ(Read("/vendor/etc/tavi_unit.txt"), "inside");
  EXPECT_EQ(Read("/vendor/etc/sub/deep.txt"), "deep");
  EXPECT_EQ(Read("/vendor/etc/./sub/../tavi_unit.txt"), "inside");
  EXPECT_EQ(Read("/vendor/etc/absent.txt"), kUnread);
}

TEST_F(DataFolderTest, LeavesPathsAndNamesOutside) {
  EXPECT_EQ(Read(files_.path("outside.txt")), "outside");
  EXPECT_EQ(Read("/vendor/etcetera/tavi_unit.txt"), kUnread);
  EXPECT_EQ(Read("/vendor/etc/../outside.txt"), kUnread);
  EXPECT_EQ(Read("/vendor/etc/sub/../../outside.txt"), kUnread);
  // Out and in again: such a name depends on what lies outside.
  EXPECT_EQ(Read("/vendor/etc/../data/tavi_unit.txt"), kUnread);
}

TEST_F(DataFolderTest, KeepsTheFlagsOfTheCaller) {
  EXPECT_EQ(Read("/vendor/etc/link.txt", /*follow_symlinks=*/false), kUnread);
  EXPECT_EQ(Read("/vendor/etc/link.txt", /*follow_symlinks=*/true), "inside");

  const int fd = open("/vendor/etc/new.txt", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(std::filesystem::status(files_.path("data/new.txt")).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(DataFolderTest, EndsWithItsObject) {
  folder_.reset();
  EXPECT_EQ(Read("/vendor/etc/tavi_unit.txt"), kUnread);
  files_.Write("other/tavi_unit.txt", "other");
  folder_.emplace(files_.path("other/"));
  EXPECT_EQ(Read("/vendor/etc/tavi_unit.txt"), "other");
}

}  // namespace
}  // namespace brelmo::tavi::test
