#include "console/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <algorithm>
#include <optional>
#include <random>
#include <set>
#include <utility>

#include "console/input.h"

namespace brelmo::tavi::tools {

namespace {

namespace fs = std::filesystem;

// What is looked at to know a file that tavi made.
constexpr size_t kBeginning = size_t{1} << 20;

std::optional<struct stat> Stat(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool IsSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Where a file of this name comes to stand: at the end of the symbolic links, if there are any.
fs::path Resolve(const std::string& name) {
  constexpr int kMostLinks = 40;
  fs::path path = name;
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  return path;
}

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// A name that nobody has, in the folder.
fs::path TemporaryName(const fs::path& folder) {
  std::random_device random;
  return folder / (".tavi-" + std::to_string(random()) + std::to_string(random() % 1000));
}

// Why an output may not stand where `status` is; empty when it may.
std::string WhichInput(const struct stat& status, const std::vector<InputFile>& inputs) {
  for (const InputFile& input : inputs) {
    const auto other = Stat(input.path);
    if (other && IsSame(*other, status)) return input.role;
  }
  struct stat standard_input = {};
  if (fstat(STDIN_FILENO, &standard_input) == 0 && S_ISREG(standard_input.st_mode) &&
      IsSame(standard_input, status)) {
    return "what standard input comes from";
  }
  return "";
}

void CheckIsNoInput(const std::string& name, const struct stat& status,
                    const std::vector<InputFile>& inputs) {
  const std::string role = WhichInput(status, inputs);
  if (!role.empty()) {
    throw InputError(name + ": is " + role + ", which is not written over; name another file");
  }
}

std::string BeginningOf(const fs::path& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return "";
  std::string text(kBeginning, '\0');
  size_t size = 0;
  for (ssize_t got = 0; size < text.size(); size += static_cast<size_t>(got)) {
    got = read(fd, &text[size], text.size() - size);
    if (got <= 0) break;
  }
  close(fd);
  text.resize(size);
  return text;
}

}  // namespace

// ---- One file -----------------------------------------------------------------------------------

OutputFile::OutputFile(const std::string& path, const OutputRules& rules)
    : name_(path), rules_(rules), path_(Resolve(path)) {
  CheckReplaceable();
  const auto status = Stat(path_);
  is_direct_ = status && (S_ISCHR(status->st_mode) || S_ISFIFO(status->st_mode));
  if (!is_direct_) {
    OpenTemporary();
    return;
  }
  // A pipe that nobody reads would be waited for.
  const int fd = open(path_.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0 && errno == ENXIO) throw InputError(name_ + ": is a pipe that nobody reads");
  if (fd < 0) Fail("cannot be written", errno);
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  stream_ = fdopen(fd, "wb");
}

OutputFile::~OutputFile() {
  if (stream_ != nullptr) std::fclose(stream_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::Fail(const std::string& what, int error) const {
  throw InputError(name_ + ": " + what + ": " + std::strerror(error));
}

void OutputFile::CheckReplaceable() const {
  if (name_.empty()) throw InputError("a file to write needs a name");
  const auto status = Stat(path_);
  if (!status) {
    if (errno != ENOENT) Fail("cannot be written", errno);
    return;
  }
  CheckIsNoInput(name_, *status, rules_.inputs);
  if (S_ISDIR(status->st_mode)) throw InputError(name_ + ": is a folder; name a file in it");
  if (S_ISCHR(status->st_mode) || S_ISFIFO(status->st_mode)) return;
  if (!S_ISREG(status->st_mode)) throw InputError(name_ + ": is no file to write to");
  // A folder lets its files be replaced, whatever they say; a user who protects one means it.
  if (access(path_.c_str(), W_OK) != 0) Fail("cannot be written", errno);
  if (rules_.is_forced || status->st_size == 0) return;
  const std::string beginning = BeginningOf(path_);
  if (rules_.is_own && !beginning.empty() && rules_.is_own(beginning)) return;
  const std::string reason =
      rules_.is_own ? ": exists, and is not " + rules_.kind + " that tavi wrote" : ": exists";
  throw InputError(name_ + reason + "; --force replaces it");
}

// Without a name at first, so that nothing is left behind whatever ends this process.
void OutputFile::OpenTemporary() {
  constexpr mode_t kMode = 0666;  // less what the user's mask takes
  const fs::path folder = FolderOf(path_);
  int fd = open(folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, kMode);
  if (fd < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    temporary_ = TemporaryName(folder);
    fd = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    if (fd < 0) temporary_.clear();
  }
  if (fd < 0) Fail("cannot be written", errno);
  if (const auto status = Stat(path_)) fchmod(fd, status->st_mode & 07777U);
  stream_ = fdopen(fd, "wb");
}

void OutputFile::Write(std::string_view content) {
  errno = 0;
  const size_t written = std::fwrite(content.data(), 1, content.size(), stream_);
  if (written != content.size() && write_error_ == 0) write_error_ = errno;
}

void OutputFile::Commit() {
  errno = 0;
  if (std::fflush(stream_) != 0 || std::ferror(stream_) != 0) {
    const int error = write_error_ != 0 ? write_error_ : errno;
    Fail("could not be written in full", error != 0 ? error : EIO);
  }
  if (!is_direct_) {
    CheckReplaceable();  // there may be something now
    if (temporary_.empty()) {
      const fs::path name = TemporaryName(FolderOf(path_));
      const std::string file = "/proc/self/fd/" + std::to_string(fileno(stream_));
      if (linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        Fail("cannot be written", errno);
      }
      temporary_ = name;
    }
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) Fail("cannot be written", errno);
    temporary_.clear();
  }
  if (std::fclose(std::exchange(stream_, nullptr)) != 0)
    Fail("could not be written in full", errno);
}

void FlushStandardOutput() {
  errno = 0;
  const bool is_flushed = std::fflush(stdout) == 0;
  // An earlier error has left its bytes behind, so that a flush meets its reason again.
  if (is_flushed && std::ferror(stdout) == 0) return;
  throw InputError(std::string("standard output: could not be written in full") +
                   (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

// ---- One folder ---------------------------------------------------------------------------------

namespace {

constexpr std::string_view kManifestTitle = "# Made by tavi";
constexpr std::string_view kManifestFile = "file\t";

// The files that a manifest lists, and itself; empty when others made it.
std::set<std::string> ListedIn(const fs::path& folder) {
  const std::string manifest = BeginningOf(folder / OutputFolder::kManifest);
  if (manifest.compare(0, kManifestTitle.size(), kManifestTitle) != 0) return {};
  std::set<std::string> names = {OutputFolder::kManifest};
  for (size_t at = 0; at < manifest.size();) {
    const size_t end = std::min(manifest.find('\n', at), manifest.size());
    const std::string line = manifest.substr(at, end - at);
    at = end + 1;
    if (line.compare(0, kManifestFile.size(), kManifestFile) != 0) continue;
    const std::string fields = line.substr(kManifestFile.size());
    names.insert(fields.substr(0, fields.find('\t')));
  }
  return names;
}

// Of everything in a folder but folders, the names in it.
std::vector<std::string> FilesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    names.push_back(entry.path().lexically_relative(folder).string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// A folder that goes with the object.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const fs::path& beside) : path_(TemporaryName(FolderOf(beside))) {
    fs::create_directory(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  const fs::path& path() const { return path_; }

 private:
  const fs::path path_;
};

bool IsWithin(const fs::path& inner, const fs::path& outer) {
  const fs::path relative = inner.lexically_relative(outer);
  return !relative.empty() && *relative.begin() != "..";
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path, const std::string& maker, OutputRules rules)
    : name_(path), maker_(maker), rules_(std::move(rules)) {
  if (name_.empty()) throw InputError("a folder to write needs a name");
  std::error_code error;
  path_ = fs::weakly_canonical(fs::absolute(name_), error);
  if (error) throw InputError(name_ + ": cannot be written: " + error.message());
  if (!path_.has_filename()) path_ = path_.parent_path();  // of "name/"
  CheckReplaceable();
}

void OutputFolder::Add(const std::string& name, std::string content, const std::string& note) {
  files_[name] = {std::move(content), note};
}

void OutputFolder::AddRemark(const std::string& line) { remarks_ += "# " + line + "\n"; }

bool OutputFolder::CheckReplaceable() const {
  const auto status = Stat(path_);
  if (!status) {
    if (errno != ENOENT) throw InputError(name_ + ": cannot be written: " + std::strerror(errno));
    return true;
  }
  if (!S_ISDIR(status->st_mode)) throw InputError(name_ + ": is a file; name a folder");
  try {
    const std::set<std::string> listed = ListedIn(path_);
    bool is_all_own = true;
    for (const std::string& file_name : FilesIn(path_)) {
      if (listed.count(file_name) == 0) {
        is_all_own = false;
        if (rules_.is_forced) continue;
        throw InputError(name_ + ": holds " + file_name +
                         ", which tavi did not make; --force writes into the folder all the same, "
                         "and replaces of such files those whose names it needs");
      }
      if (const auto file = Stat(path_ / file_name)) {
        CheckIsNoInput(name_ + "/" + file_name, *file, rules_.inputs);
      }
    }
    return is_all_own;
  } catch (const fs::filesystem_error& error) {
    throw InputError(name_ + ": cannot be looked through: " + error.code().message());
  }
}

std::string OutputFolder::Manifest() const {
  std::string text = std::string(kManifestTitle) + ": the files of this folder, by " + maker_ +
                     ". A folder that holds no other is replaced as a whole.\n" + remarks_;
  for (const auto& [file_name, file] : files_) {
    text +=
        std::string(kManifestFile) + file_name + (file.note.empty() ? "" : "\t" + file.note) + "\n";
  }
  return text;
}

void OutputFolder::Commit() {
  try {
    const bool is_replaceable = CheckReplaceable();
    // Nobody's working folder goes away under them.
    const bool is_in_use = fs::exists(path_) && IsWithin(fs::current_path(), path_);
    if (is_replaceable && !is_in_use) {
      Replace();
    } else {
      PutInPlace();
    }
  } catch (const fs::filesystem_error& error) {
    throw InputError(name_ + ": cannot be written: " + error.code().message());
  }
}

void OutputFolder::PutInPlace() const {
  OutputRules rules = rules_;
  rules.is_forced = true;  // what may not be is known by now, inputs apart
  const auto put = [&](const std::string& file_name, const std::string& content) {
    fs::create_directories((path_ / file_name).parent_path());
    OutputFile file((path_ / file_name).string(), rules);
    file.Write(content);
    file.Commit();
  };
  // Of the old files only what is in the folder: a manifest may list what it likes, paths that lead
  // out of the folder included.
  const std::set<std::string> listed = ListedIn(path_);
  for (const std::string& file_name : FilesIn(path_)) {
    if (listed.count(file_name) != 0 && files_.count(file_name) == 0) {
      fs::remove(path_ / file_name);
    }
  }
  for (const auto& [file_name, file] : files_) put(file_name, file.content);
  put(kManifest, Manifest());
}

void OutputFolder::Replace() const {
  fs::create_directories(FolderOf(path_));
  const TemporaryFolder folder(path_);
  const auto put = [&](const std::string& file_name, const std::string& content) {
    fs::create_directories((folder.path() / file_name).parent_path());
    OutputFile file((folder.path() / file_name).string(), {});
    file.Write(content);
    file.Commit();
  };
  for (const auto& [file_name, file] : files_) put(file_name, file.content);
  put(kManifest, Manifest());
  if (!fs::exists(path_)) return fs::rename(folder.path(), path_);
  fs::permissions(folder.path(), fs::status(path_).permissions());
  if (renameat2(AT_FDCWD, folder.path().c_str(), AT_FDCWD, path_.c_str(), RENAME_EXCHANGE) == 0) {
    return;  // the old one goes with the temporary folder
  }
  // Not every file system can exchange two.
  const TemporaryFolder old(path_);
  fs::rename(path_, old.path());
  std::error_code error;
  fs::rename(folder.path(), path_, error);
  if (!error) return;
  fs::rename(old.path(), path_);
  throw InputError(name_ + ": cannot be written: " + error.message());
}

}  // namespace brelmo::tavi::tools
