// Runs work that may die, hang or misbehave, each piece in a process of its own.
//
// Each process leads a session of its own, has pipes for standard descriptors and leaves no core
// file. Whatever it starts ends with it, at the latest when RunChildren returns. Time in which this
// process is stopped counts for nobody. A module that wants to deceive its judge can do so: it
// runs with the user's rights and reaches all that is told about it.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace brelmo::tavi::tools {

// The work's side, inside the process. Any thread may call it. When the descriptors to the parent
// are gone, a call ends the process.
class ChildReport {
 public:
  virtual ~ChildReport() = default;
  // What the work does from now on, and how long that may take; without a limit of its own it takes
  // at most what the whole child may.
  virtual void Set(const std::string& activity,
                   std::optional<std::chrono::milliseconds> limit = {}) = 0;
  // Adds to ChildEnd::report. It stays when the process dies right after.
  virtual void Add(const std::string& text) = 0;
  // Hands a text to ChildHandlers::on_show.
  virtual void Show(const std::string& text) = 0;
  // Waits until what this process wrote to standard output and error was read, for 100 ms at most.
  virtual void WaitForReader() = 0;
  // The result, for work that is about to end the process itself instead of returning.
  virtual void Finish(int result) = 0;
};

struct ChildEnd {
  enum class How { kReturned, kDied, kTimedOut };

  How how = How::kReturned;
  // What the work returned, however the process then ended: `how` is kReturned only when the whole
  // end was as it should be, and a library's exit handlers may spoil it.
  std::optional<int> result;
  std::string death;     // of kDied: "crashed (SIGSEGV, Segmentation fault)"
  std::string activity;  // what it was doing last
  std::string report;    // all that was added
  // What it wrote to standard output and error, or the end of it, without what was handed to
  // on_output: of a crash or a hang a backtrace is the last of it, where one could be had.
  std::string output;
  std::chrono::duration<double> time{0};
};

struct ChildLimits {
  size_t jobs = 1;  // that run at the same time
  // For a whole child, if there is a limit.
  std::optional<std::chrono::milliseconds> time = std::chrono::seconds(60);
  // For the end of a process whose work is done: libraries are unloaded in it.
  std::chrono::milliseconds end_time = std::chrono::seconds(10);
};

// The work's result is the process's exit code. Work that returns may leave threads behind: the
// process ends all the same. An exception is the work's death; MachineError, std::system_error and
// std::bad_alloc are the machine's fault.
using ChildWork = std::function<int(size_t index, ChildReport& report)>;

// All are called in this process.
struct ChildHandlers {
  std::function<void(size_t index, const ChildEnd& end)> on_end;
  std::function<void(const std::string& text)> on_show = {};
  // Standard output and error as they come, if not wanted at the end.
  std::function<void(const std::string& text)> on_output = {};
  // What children find on standard input: copied from this descriptor. Empty: an empty input.
  std::optional<int> input = {};
};

// Runs `work` for 0 to `count` - 1. The caller must not have started threads. Throws MachineError
// when a process lacks what it needs, and Interrupted, see interrupts.h; all children are over
// then.
void RunChildren(size_t count, const ChildLimits& limits, const ChildWork& work,
                 const ChildHandlers& handlers);
// The same for one piece.
ChildEnd RunChild(const ChildLimits& limits, const std::function<int(ChildReport&)>& work,
                  const ChildHandlers& handlers = {});

}  // namespace brelmo::tavi::tools
