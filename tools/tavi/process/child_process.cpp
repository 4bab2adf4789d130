#include "process/child_process.h"

#include <dirent.h>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <system_error>

namespace brelmo::tavi::tools {

namespace {

using Clock = std::chrono::steady_clock;

// How long a process that is to end has for its backtraces.
constexpr std::chrono::seconds kGrace{3};

// What ends this process, and its children with it: the last when nobody reads on.
constexpr std::array<int, 4> kInterrupts = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// One that is ignored stays so: whoever started this process does not want it to end by that.
void (*Handle(int number, void (*handler)(int)))(int) {
  void (*const old)(int) = std::signal(number, handler);
  if (old == SIG_IGN) std::signal(number, SIG_IGN);
  return old;
}

[[noreturn]] void Fail(const char* call) {
  throw std::system_error(errno, std::generic_category(), call);
}

// ---- Backtraces ---------------------------------------------------------------------------------

// Everything here runs in signal handlers of a process that is about to end.

void Write(const char* text) {
  [[maybe_unused]] const ssize_t size = write(STDERR_FILENO, text, std::strlen(text));
}

void WriteBacktrace() {
  constexpr int kMostFrames = 40;
  std::array<void*, kMostFrames> frames{};
  std::array<char, 32> name{};
  prctl(PR_GET_NAME, name.data());
  Write(kBacktraceTitle);
  Write(name.data());
  Write("\":\n");
  backtrace_symbols_fd(frames.data(), backtrace(frames.data(), kMostFrames), STDERR_FILENO);
}

void OnDeath(int number) {
  WriteBacktrace();
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

void HandleDeath() {
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
}

// ---- The child's side ---------------------------------------------------------------------------

// In memory that parent and child share.
struct SharedState {
  std::array<char, 1000> activity;
  std::atomic<bool> is_finished;
};

class Report : public ChildReport {
 public:
  Report(SharedState& state, int fd) : state_(state), fd_(fd) {}

  void Set(const std::string& text) override {
    const size_t length = std::min(text.size(), state_.activity.size() - 1);
    std::memcpy(state_.activity.data(), text.data(), length);
    state_.activity[length] = '\0';
  }
  void Finish() override { state_.is_finished = true; }
  void Add(const std::string& text) override {
    for (size_t written = 0; written < text.size();) {
      const ssize_t size = write(fd_, text.data() + written, text.size() - written);
      if (size <= 0) std::abort();
      written += static_cast<size_t>(size);
    }
  }

 private:
  SharedState& state_;
  int fd_;
};

// ---- The parent's side --------------------------------------------------------------------------

class File {
 public:
  // In memory alone.
  explicit File(const char* name) : fd_(memfd_create(name, MFD_CLOEXEC)) {
    if (fd_ < 0) Fail("memfd_create");
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { close(fd_); }

  int fd() const { return fd_; }
  // The whole content, or the end of it.
  std::string Read() const {
    constexpr off_t kMost = off_t{1} << 20;
    const off_t size = lseek(fd_, 0, SEEK_END);
    std::string text(static_cast<size_t>(std::clamp<off_t>(size, 0, kMost)), '\0');
    const ssize_t count = pread(fd_, text.data(), text.size(),
                                std::max<off_t>(0, size - static_cast<off_t>(text.size())));
    text.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return text;
  }

 private:
  int fd_;
};

class Child {
 public:
  Child(size_t index, const ChildWork& work, std::chrono::seconds limit)
      : begin_(Clock::now()), deadline_(begin_ + limit) {
    void* const memory = mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) Fail("mmap");
    state_ = new (memory) SharedState{};
    std::fflush(nullptr);
    pid_ = fork();
    if (pid_ < 0) Fail("fork");
    if (pid_ == 0) Run(index, work);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    munmap(state_, sizeof(SharedState));
  }

  // Whether the process has ended; ends it when its time is over.
  bool HasEnded() {
    const pid_t ended = waitpid(pid_, &status_, WNOHANG);
    if (ended == pid_) {
      pid_ = -1;
      return true;
    }
    if (Clock::now() >= deadline_) {
      kill(pid_, is_overdue_ ? SIGKILL : SIGUSR1);
      deadline_ = Clock::now() + kGrace;
      is_overdue_ = true;
    }
    return false;
  }

  ChildEnd End() const {
    ChildEnd end;
    if (state_->is_finished && WIFEXITED(status_)) {
      end.result = WEXITSTATUS(status_);
    } else if (is_overdue_) {
      end.how = ChildEnd::How::kTimedOut;
      end.death = "did not end in time";
    } else {
      end.how = ChildEnd::How::kDied;
      end.death = DescribeDeath(status_);
    }
    end.activity = state_->activity.data();
    end.report = report_.Read();
    end.output = output_.Read();
    end.time = Clock::now() - begin_;
    return end;
  }

 private:
  [[noreturn]] void Run(size_t index, const ChildWork& work) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody would hear of what an orphan does
    for (const int number : kInterrupts) Handle(number, SIG_DFL);
    dup2(output_.fd(), STDOUT_FILENO);
    dup2(output_.fd(), STDERR_FILENO);
    HandleDeath();
    // Nothing may unwind the parent's half of this stack, which ends the other children.
    try {
      Report report(*state_, report_.fd());
      const int result = work(index, report);
      report.Finish();
      // What a sanitizer has to say at the end is said here, and changes the exit code.
      std::exit(result);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
    } catch (...) {
      std::fprintf(stderr, "an unknown exception\n");
    }
    std::fflush(nullptr);
    std::_Exit(EXIT_FAILURE);
  }

  Clock::time_point begin_;
  Clock::time_point deadline_;
  SharedState* state_ = nullptr;
  File report_{"report"};
  File output_{"output"};
  pid_t pid_ = -1;
  int status_ = 0;
  bool is_overdue_ = false;
};

volatile std::sig_atomic_t interrupt = 0;

void OnInterrupt(int number) { interrupt = number; }

}  // namespace

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
    if (thread <= 0 || thread == self) continue;
    // One after the other: their lines do not mix.
    threads_to_write = 1;
    syscall(SYS_tgkill, getpid(), thread, kThreadSignal);
    for (int i = 0; i < 100 && threads_to_write > 0; ++i) {
      const timespec time = {0, 1000000};
      nanosleep(&time, nullptr);
    }
  }
  if (folder >= 0) close(folder);
}

void RunChildren(size_t count, const ChildLimits& limits, const ChildWork& work,
                 const std::function<void(size_t index, const ChildEnd& end)>& on_end,
                 const std::function<void()>& on_interrupt) {
  // Blocked before the first fork, so that no end of a child is missed between look and wait.
  sigset_t child_ended;
  sigset_t old_mask;
  sigemptyset(&child_ended);
  sigaddset(&child_ended, SIGCHLD);
  sigprocmask(SIG_BLOCK, &child_ended, &old_mask);
  std::signal(SIGCHLD, SIG_DFL);  // where it is ignored nothing is told of ends
  interrupt = 0;
  std::array<void (*)(int), kInterrupts.size()> old_handlers{};
  for (size_t i = 0; i < kInterrupts.size(); ++i) {
    old_handlers[i] = Handle(kInterrupts[i], OnInterrupt);
  }

  std::map<size_t, std::unique_ptr<Child>> children;
  size_t next = 0;
  while ((next < count || !children.empty()) && interrupt == 0) {
    while (next < count && children.size() < std::max<size_t>(limits.jobs, 1)) {
      const auto unblocked = [&](size_t index, ChildReport& report) {
        sigprocmask(SIG_SETMASK, &old_mask, nullptr);
        return work(index, report);
      };
      children.emplace(next, std::make_unique<Child>(next, unblocked, limits.time));
      ++next;
    }
    bool has_one_ended = false;
    for (auto at = children.begin(); at != children.end();) {
      if (!at->second->HasEnded()) {
        ++at;
        continue;
      }
      has_one_ended = true;
      const ChildEnd end = at->second->End();
      const size_t index = at->first;
      at = children.erase(at);
      on_end(index, end);
    }
    if (!has_one_ended) {
      const timespec tick = {0, 100000000};  // deadlines are looked at so often
      sigtimedwait(&child_ended, nullptr, &tick);
    }
  }
  children.clear();
  for (size_t i = 0; i < kInterrupts.size(); ++i) std::signal(kInterrupts[i], old_handlers[i]);
  sigprocmask(SIG_SETMASK, &old_mask, nullptr);
  if (interrupt != 0) {
    if (on_interrupt) on_interrupt();
    std::raise(interrupt);
    _exit(128 + interrupt);  // as a shell has it
  }
}

}  // namespace brelmo::tavi::tools
