// Backtraces of a process that dies or hangs.
#pragma once

#include <string>

namespace brelmo::tavi::tools {

// What every backtrace begins with.
constexpr const char* kBacktraceTitle = "backtrace of thread \"";

// From now on a signal of a crash writes the backtrace of its thread to the descriptor `fd`, which
// stays the caller's, and SIGUSR1 writes those of all threads and ends the process.
void WriteBacktracesOnDeath(int fd);

// For work that has found a hang: writes the backtraces of all threads of this process.
void WriteBacktraces();

// Before this process dies of a crash or of exit(), other threads get up to 200 ms until
// `is_settled` is true, to pass on what they hold. It is called in a signal handler. Null:
// nothing is waited for.
void WaitBeforeDeath(bool (*is_settled)());

}  // namespace brelmo::tavi::tools
