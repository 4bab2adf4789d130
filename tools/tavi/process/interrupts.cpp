#include "process/interrupts.h"

#include <unistd.h>

#include <csignal>

#include <array>

namespace brelmo::tavi::tools {

namespace {

constexpr std::array<int, 5> kInterrupts = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE};

volatile std::sig_atomic_t interrupt = 0;
volatile std::sig_atomic_t is_stop_asked_for = 0;

void OnInterrupt(int number) { interrupt = number; }
void OnStop(int /*number*/) { is_stop_asked_for = 1; }

// An ignored signal stays ignored: whoever started this process wants it to go on.
void Handle(int number, void (*handler)(int)) {
  struct sigaction action = {};
  if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = handler;
  sigaction(number, &action, nullptr);  // without SA_RESTART: a read at the prompt ends
}

}  // namespace

void ForgetInterrupts() {
  for (const int number : kInterrupts) Handle(number, SIG_DFL);
  Handle(SIGTSTP, SIG_DFL);
}

int RunInterruptible(const std::function<int()>& work) {
  interrupt = 0;
  is_stop_asked_for = 0;
  for (const int number : kInterrupts) Handle(number, OnInterrupt);
  Handle(SIGTSTP, OnStop);
  int result = 0;
  try {
    result = work();
  } catch (const Interrupted&) {
    // Children, files and folders were removed on the way here.
  } catch (...) {
    ForgetInterrupts();
    throw;
  }
  ForgetInterrupts();
  if (interrupt != 0) {
    std::raise(interrupt);
    _exit(128 + interrupt);  // as a shell has it
  }
  return result;
}

void ThrowIfInterrupted() {
  if (interrupt != 0) throw Interrupted();
}

bool TakeStopRequest() {
  const bool is_asked = is_stop_asked_for != 0;
  is_stop_asked_for = 0;
  return is_asked;
}

}  // namespace brelmo::tavi::tools
