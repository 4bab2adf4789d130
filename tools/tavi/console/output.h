// Files and folders that tavi writes for its user.
//
// Nothing that a user has is lost by them. An input of the same command is never an output, by
// whatever name or link it is reached. What exists, and tavi did not make, is replaced only where
// the user says --force. Output appears under its name at the end and as a whole, or not at all.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace brelmo::tavi::tools {

struct InputFile {
  std::string path;
  std::string role;  // for messages: "the configuration", "a data file"
};

struct OutputRules {
  // What must survive. A name without a file is passed over. Standard input counts as one of them,
  // named or not.
  std::vector<InputFile> inputs;
  // Of a file, for messages: what tavi writes here ("a report").
  std::string kind;
  // Whether tavi wrote a file, by its first bytes: at least one, at most 1 MiB. An empty function
  // says that tavi wrote no file that exists.
  std::function<bool(std::string_view beginning)> is_own;
  bool is_forced = false;  // --force
};

// What is still to be written to standard output. Throws InputError where it cannot be.
void FlushStandardOutput();

// One file. A device or a pipe is written to as it is; a symbolic link stays, and leads to the new
// file. Not thread-safe; a forked process may write to the stream and must not commit.
class OutputFile {
 public:
  // Throws InputError where nothing may be or can be written.
  OutputFile(const std::string& path, const OutputRules& rules);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  // Without a Commit, everything is as it was.
  ~OutputFile();

  // Of the object; its errors are found by Commit.
  std::FILE* stream() const { return stream_; }
  void Write(std::string_view content);
  // Puts the file in its place. Throws InputError; then everything is as it was. Only once.
  void Commit();

 private:
  void CheckReplaceable() const;
  void OpenTemporary();
  [[noreturn]] void Fail(const std::string& what, int error) const;

  const std::string name_;  // as the user gave it
  const OutputRules rules_;
  std::filesystem::path path_;       // where the file comes to stand, links resolved
  bool is_direct_ = false;           // a device or a pipe
  std::filesystem::path temporary_;  // empty as long as the new file has no name
  std::FILE* stream_ = nullptr;
  int write_error_ = 0;  // an errno: of the first Write that failed
};

// One folder of files, with a list of them in a file MANIFEST, by which tavi knows a folder that it
// made: one that holds nothing else is replaced as a whole. With --force, files are put into any
// other one, each by itself; files of other names stay, but for those that its list has.
class OutputFolder {
 public:
  static constexpr const char* kManifest = "MANIFEST";

  // `maker`: the command for the manifest, "tavi stress". `rules` need no kind. Throws InputError
  // where nothing may be written.
  OutputFolder(const std::string& path, const std::string& maker, OutputRules rules);

  // A file in it; `name` is relative and may have folders. `note` is for people, and stands behind
  // the name in the manifest (a hash).
  void Add(const std::string& name, std::string content, const std::string& note = "");
  // A line of the manifest, for people.
  void AddRemark(const std::string& line);
  // What a Commit would write of itself.
  std::string Manifest() const;
  // Puts the folder in its place. Throws InputError; then the place is as it was, unless it held
  // files that tavi did not make. Only once.
  void Commit();

  // As the user gave it.
  const std::string& name() const { return name_; }

 private:
  struct File {
    std::string content;
    std::string note;
  };

  // Whether the folder that exists may be replaced as a whole. Throws InputError where it may not
  // be written to.
  bool CheckReplaceable() const;
  void PutInPlace() const;
  void Replace() const;

  const std::string name_;  // as the user gave it
  const std::string maker_;
  const OutputRules rules_;
  std::filesystem::path path_;
  std::map<std::string, File> files_;
  std::string remarks_;
};

}  // namespace brelmo::tavi::tools
