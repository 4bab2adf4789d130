// What is written for a user: nothing that they have may be lost by it.
#include "console/output.h"
#include "console/input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include <gmock/gmock.h>

#include "command.h"
#include "process/scratch_folder.h"

namespace brelmo::tavi::tools {
namespace {

using test::ReadFile;
using testing::ElementsAre;
using testing::HasSubstr;

namespace fs = std::filesystem;

class OutputTest : public testing::Test {
 protected:
  OutputTest() {
    files_.Write("input.txt", "input");
    rules_.inputs = {{files_.path("input.txt"), "the input"}, {files_.path("absent"), "another"}};
    rules_.kind = "a report";
    rules_.is_own = [](std::string_view text) { return text.substr(0, 4) == "mine"; };
  }

  // What writing `name` comes to: its new content, or why not.
  std::string Write(const std::string& name, const std::string& content = "mine, new") {
    try {
      OutputFile file(files_.path(name), rules_);
      file.Write(content);
      file.Commit();
    } catch (const InputError& error) {
      return error.what();
    }
    return ReadFile(files_.path(name));
  }
  std::string WriteFolder(const std::string& name, const std::set<std::string>& files) {
    try {
      OutputFolder folder(files_.path(name), "a test", rules_);
      for (const std::string& file : files) folder.Add(file, "new");
      folder.Commit();
    } catch (const InputError& error) {
      return error.what();
    }
    return "";
  }
  std::set<std::string> Names(const std::string& folder = "") const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(files_.path(folder))) {
      if (entry.is_directory()) continue;
      names.insert(entry.path().lexically_relative(files_.path(folder)).string());
    }
    return names;
  }

  tools::ScratchFolder files_;
  OutputRules rules_;
};

TEST_F(OutputTest, WhatMayBeReplaced) {
  files_.Write("foreign", "something else");
  files_.Write("own", "mine, old");
  files_.Write("empty", "");
  for (const char* const name : {"new", "own", "empty"}) EXPECT_EQ(Write(name), "mine, new");
  EXPECT_THAT(Write("foreign"), HasSubstr("exists, and is not a report that tavi wrote; --force"));
  EXPECT_EQ(ReadFile(files_.path("foreign")), "something else");
  rules_.is_forced = true;
  EXPECT_EQ(Write("foreign"), "mine, new");
  EXPECT_THAT(Write(""), HasSubstr("is a folder"));
  EXPECT_THAT(Write("no/folder"), HasSubstr("cannot be written: No such file"));
}

TEST_F(OutputTest, AnInputIsNeverAnOutput) {
  rules_.is_forced = true;
  fs::create_symlink("input.txt", files_.path("soft"));
  fs::create_symlink("soft", files_.path("softer"));
  fs::create_hard_link(files_.path("input.txt"), files_.path("hard"));
  for (const char* const name : {"input.txt", "soft", "softer", "hard"}) {
    Write(name);
    EXPECT_EQ(ReadFile(files_.path("input.txt")), "input") << name;
  }
  EXPECT_THAT(Write("hard"), HasSubstr("hard: is the input, which is not written over"));
}

TEST_F(OutputTest, NothingIsSeenBeforeItIsDone) {
  files_.Write("own", "mine, old");
  chmod(files_.path("own").c_str(), 0640);
  fs::create_symlink("own", files_.path("link"));
  const auto before = Names();
  for (const bool is_done : {false, true}) {
    OutputFile file(files_.path("link"), rules_);
    file.Write("mine, new");
    std::fflush(file.stream());
    EXPECT_EQ(ReadFile(files_.path("own")), "mine, old");
    EXPECT_EQ(Names(), before);
    if (is_done) file.Commit();
  }
  EXPECT_EQ(ReadFile(files_.path("own")), "mine, new");
  EXPECT_TRUE(fs::is_symlink(files_.path("link")));
  struct stat status = {};
  stat(files_.path("own").c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
  EXPECT_EQ(Names(), before);
  // What somebody else put there meanwhile stays.
  OutputFile file(files_.path("late"), rules_);
  files_.Write("late", "something else");
  EXPECT_THROW(file.Commit(), InputError);
  EXPECT_EQ(ReadFile(files_.path("late")), "something else");
}

TEST_F(OutputTest, DevicesAndPipes) {
  const auto write = [](const std::string& path) {
    OutputFile file(path, {});
    file.Write("text");
    file.Commit();
  };
  EXPECT_NO_THROW(write("/dev/null"));
  EXPECT_THROW(write("/dev/full"), InputError);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  mkfifo(files_.path("fifo").c_str(), 0600);
  EXPECT_THAT(Write("fifo"), HasSubstr("a pipe that nobody reads"));
}

TEST_F(OutputTest, AFolderChangesAsAWhole) {
  EXPECT_EQ(WriteFolder("a/folder/", {"one", "etc/two"}), "");
  EXPECT_THAT(Names("a/folder"), ElementsAre("MANIFEST", "etc/two", "one"));
  EXPECT_EQ(WriteFolder("a/folder", {"three"}), "");
  EXPECT_THAT(Names("a/folder"), ElementsAre("MANIFEST", "three"));
  EXPECT_THAT(ReadFile(files_.path("a/folder/MANIFEST")), HasSubstr("\nfile\tthree\n"));
  // A file of the user's own.
  files_.Write("a/folder/notes", "notes");
  EXPECT_THAT(WriteFolder("a/folder", {"four"}), HasSubstr("holds notes, which tavi did not make"));
  EXPECT_THAT(Names("a/folder"), ElementsAre("MANIFEST", "notes", "three"));
  rules_.is_forced = true;
  EXPECT_EQ(WriteFolder("a/folder", {"four"}), "");
  EXPECT_THAT(Names("a/folder"), ElementsAre("MANIFEST", "four", "notes"));
  EXPECT_EQ(ReadFile(files_.path("a/folder/notes")), "notes");
  EXPECT_THAT(Names("a"), ElementsAre("folder/MANIFEST", "folder/four", "folder/notes"));
}

// A folder may come from anybody, and its manifest with it.
TEST_F(OutputTest, AManifestReachesNothingOutsideOfItsFolder) {
  files_.Write("outside/a", "precious");
  files_.Write("outside/b", "precious");
  files_.Write("folder/MANIFEST",
               "# Made by tavi\nfile\t../outside/a\nfile\tlink/b\nfile\told\nfile\t" +
                   files_.path("outside/b") + "\n");
  files_.Write("folder/old", "mine");
  fs::create_directory_symlink(files_.path("outside"), files_.path("folder/link"));
  rules_.is_forced = true;
  EXPECT_EQ(WriteFolder("folder", {"new"}), "");
  EXPECT_THAT(Names(),
              ElementsAre("folder/MANIFEST", "folder/new", "input.txt", "outside/a", "outside/b"));
}

TEST_F(OutputTest, AFolderWithAnInputInIt) {
  EXPECT_EQ(WriteFolder("folder", {"one"}), "");
  rules_.inputs = {{files_.path("folder/one"), "the module"}};
  rules_.is_forced = true;
  EXPECT_THAT(WriteFolder("folder", {"two"}), HasSubstr("folder/one: is the module"));
  EXPECT_THAT(Names("folder"), ElementsAre("MANIFEST", "one"));
  EXPECT_THAT(WriteFolder("input.txt", {"two"}), HasSubstr("is a file"));
}

}  // namespace
}  // namespace brelmo::tavi::tools
