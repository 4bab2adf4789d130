// Runs pieces of work that call a module, each in a process of its own with a limit to its time, so
// that a module that crashes or hangs is a result.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "process/supervisor.h"

namespace brelmo::tavi::tools {

// The work's side, inside the process.
class ChildReport : public Activity {
 public:
  // Stays readable when the process dies right after.
  virtual void Add(const std::string& text) = 0;
};

// What every backtrace begins with.
constexpr const char* kBacktraceTitle = "backtrace of thread \"";

struct ChildEnd {
  enum class How { kReturned, kDied, kTimedOut };

  How how = How::kReturned;
  int result = 0;        // of work that returned
  std::string death;     // how the process died: "crashed (SIGSEGV, Segmentation fault)"
  std::string activity;  // what it was doing last
  std::string report;    // all that was added
  // What it wrote to standard output and error: of a crash or a hang a backtrace is the last of it,
  // where one could be had.
  std::string output;
  std::chrono::duration<double> time{0};
};

struct ChildLimits {
  size_t jobs = 1;  // that run at the same time
  std::chrono::seconds time{60};
};

// The work's result is the process's exit code. Work that returns may leave threads behind: the
// process ends all the same.
using ChildWork = std::function<int(size_t index, ChildReport& report)>;

// Runs `work` for 0 to `count` - 1 and calls `on_end` in this process as each ends. A time limit
// that passes is the end of one; SIGINT, SIGTERM, SIGHUP or SIGPIPE, where they are not ignored,
// end all, this process included, after `on_interrupt`. The caller must not have started threads.
void RunChildren(size_t count, const ChildLimits& limits, const ChildWork& work,
                 const std::function<void(size_t index, const ChildEnd& end)>& on_end,
                 const std::function<void()>& on_interrupt = {});

// For work that has found a hang: writes the backtraces of all threads of this process to standard
// error.
void WriteBacktraces();

}  // namespace brelmo::tavi::tools
