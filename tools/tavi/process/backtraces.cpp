#include "process/backtraces.h"

#include <dirent.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <array>
#include <atomic>

namespace brelmo::tavi::tools {

namespace {

// Everything here runs in signal handlers of a process that is about to end.

constexpr timespec kMillisecond = {0, 1000000};

// Not standard error: a module may have closed that, and its number may stand for another file.
std::atomic<int> output = STDERR_FILENO;
std::atomic<bool (*)()> is_settled = nullptr;

void Write(const char* text) {
  [[maybe_unused]] const ssize_t size = write(output, text, std::strlen(text));
}

void WriteBacktrace() {
  constexpr int kMostFrames = 40;
  std::array<void*, kMostFrames> frames{};
  std::array<char, 32> name{};
  prctl(PR_GET_NAME, name.data());
  Write(kBacktraceTitle);
  Write(name.data());
  Write("\":\n");
  backtrace_symbols_fd(frames.data(), backtrace(frames.data(), kMostFrames), output);
}

void Settle() {
  bool (*const is_done)() = is_settled;
  for (int i = 0; i < 200 && is_done != nullptr && !is_done(); ++i) {
    nanosleep(&kMillisecond, nullptr);
  }
}

void OnDeath(int number) {
  WriteBacktrace();
  Settle();
  // The handler is gone with the first delivery: this time it is the end.
  std::raise(number);
}

constexpr int kThreadSignal = SIGUSR2;
std::atomic<int> threads_to_write = 0;

void OnThreadSignal(int /*number*/) {
  WriteBacktrace();
  threads_to_write.fetch_sub(1);
}

// Asked for by the parent.
void OnWriteBacktraces(int /*number*/) {
  WriteBacktraces();
  _exit(EXIT_FAILURE);
}

}  // namespace

void WriteBacktracesOnDeath(int fd) {
  output = fd;
  // The first backtrace of a process loads a library, which a signal handler had better not.
  std::array<void*, 1> frame{};
  backtrace(frame.data(), frame.size());
  for (const int number : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT}) {
    struct sigaction old = {};
    // A sanitizer's handler says more.
    if (sigaction(number, nullptr, &old) != 0 || old.sa_handler != SIG_DFL) continue;
    struct sigaction action = {};
    action.sa_handler = OnDeath;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(number, &action, nullptr);
  }
  std::signal(kThreadSignal, OnThreadSignal);
  std::signal(SIGUSR1, OnWriteBacktraces);
  std::atexit(Settle);
}

void WriteBacktraces() {
  // The directory is read by system call: a thread may hold the allocator's lock.
  const int folder = open("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const auto self = static_cast<pid_t>(syscall(SYS_gettid));
  alignas(dirent64) std::array<char, 4096> buffer{};
  const long size = folder < 0 ? 0 : syscall(SYS_getdents64, folder, buffer.data(), buffer.size());
  for (long at = 0; at < size;) {
    uint16_t length = 0;
    std::memcpy(&length, buffer.data() + at + offsetof(dirent64, d_reclen), sizeof(length));
    const int thread = std::atoi(buffer.data() + at + offsetof(dirent64, d_name));
    at += length;
    if (thread <= 0) continue;
    if (thread == self) {
      WriteBacktrace();
      continue;
    }
    // One after the other: their lines do not mix.
    threads_to_write = 1;
    syscall(SYS_tgkill, getpid(), thread, kThreadSignal);
    for (int i = 0; i < 100 && threads_to_write > 0; ++i) nanosleep(&kMillisecond, nullptr);
  }
  if (folder >= 0) close(folder);
}

void WaitBeforeDeath(bool (*is_done)()) { is_settled = is_done; }

}  // namespace brelmo::tavi::tools
