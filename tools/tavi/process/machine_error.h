// What this machine lacks, as opposed to what is wrong with a module or with a user's input.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace brelmo::tavi::tools {

// what() names what could not be done, the resource and the usual cure. No verdict about a module
// can be had: the command ends with exit code 2.
class MachineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  // `code` is an errno.
  MachineError(const std::string& what, int code)
      : std::runtime_error(what + ": " + std::strerror(code) + Cure(code)) {}

 private:
  static const char* Cure(int code) {
    switch (code) {
      case EAGAIN:
        return ": this user may have no more processes and threads (ulimit -u)";
      case EMFILE:
        return ": a process may open no more files (ulimit -n)";
      case ENFILE:
        return ": the machine has too many files open";
      case ENOMEM:
        return ": memory is short, or its limit low (ulimit -v)";
      case EFBIG:
        return ": the limit of a file's size is low (ulimit -f)";
      case ENOSPC:
      case EDQUOT:
        return "; free some space, or name another folder in TMPDIR";
      case EACCES:
      case EROFS:
      case ENOENT:
      case ENOTDIR:
        return "; name another folder in TMPDIR";
      default:
        return "";
    }
  }
};

}  // namespace brelmo::tavi::tools
