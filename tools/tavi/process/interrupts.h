// Signals that end a command. They unwind it, so that children and temporary folders end first.
#pragma once

#include <functional>

namespace brelmo::tavi::tools {

// Thrown by what watches for signals.
class Interrupted {};

// Runs `work` and returns what it returns. SIGINT, SIGQUIT, SIGTERM, SIGHUP or SIGPIPE, where it is
// not ignored, makes RunChildren throw Interrupted; this process then dies of that signal. SIGTSTP
// (Ctrl-Z) stops this process's children with it. Not re-entrant.
int RunInterruptible(const std::function<int()>& work);

// Throws Interrupted after such a signal.
void ThrowIfInterrupted();
// Whether this process was asked to stop, since the last call.
bool TakeStopRequest();
// In a new process: as before RunInterruptible.
void ForgetInterrupts();

}  // namespace brelmo::tavi::tools
