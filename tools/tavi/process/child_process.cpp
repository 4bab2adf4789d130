#include "process/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <utility>
#include <vector>

#include "process/child_side.h"
#include "process/interrupts.h"
#include "process/machine_error.h"
#include "process/strays.h"

namespace brelmo::tavi::tools {

namespace {

using Milliseconds = std::chrono::milliseconds;

// How long a process that is to end has for its backtraces.
constexpr Milliseconds kGrace{3000};
// How often deadlines are looked at.
constexpr Milliseconds kTick{100};

// Time in which this process ran. A step longer than any tick was spent stopped.
class RunningClock {
 public:
  void Advance() {
    const auto time = std::chrono::steady_clock::now();
    constexpr auto kMost = 3 * kTick;
    time_ += std::min<std::chrono::steady_clock::duration>(time - last_, kMost);
    last_ = time;
  }
  Milliseconds now() const { return std::chrono::duration_cast<Milliseconds>(time_); }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::duration time_{0};
};

std::string DescribeDeath(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    const char* const name = sigabbrev_np(signal);  // null for real-time signals
    if (name == nullptr) return "crashed (signal " + std::to_string(signal) + ")";
    return std::string("crashed (SIG") + name + ", " + sigdescr_np(signal) + ")";
  }
  return "ended the process (exit code " + std::to_string(WEXITSTATUS(status)) + ")";
}

void KeepEnd(std::string& text) {
  constexpr size_t kMost = size_t{1} << 20;
  if (text.size() > 2 * kMost) text.erase(0, text.size() - kMost);
}

// Reads what is there; false at the end of the stream.
bool ReadFrom(int fd, std::string& to) {
  std::array<char, 65536> buffer{};
  const ssize_t size = read(fd, buffer.data(), buffer.size());
  if (size > 0) to.append(buffer.data(), static_cast<size_t>(size));
  return size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR));
}

class Child {
 public:
  Child(const ChildLimits& limits, const ChildHandlers& handlers, Milliseconds now,
        const std::function<int(ChildReport&)>& work)
      : limits_(limits), handlers_(handlers), begin_(now), step_begin_(now) {
    void* const memory = mmap(nullptr, sizeof(ChildState), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw MachineError("no test process can be started", errno);
    state_.reset(new (memory) ChildState{});
    std::fflush(nullptr);
    pid_ = fork();
    if (pid_ < 0) throw MachineError("no test process can be started", errno);
    if (pid_ == 0) {
      input_.CloseWriteEnd();
      output_.CloseReadEnd();
      messages_.CloseReadEnd();
      const int input = handlers.input ? input_.read_end() : -1;
      LiveAsChild(*state_, {input, output_.write_end(), messages_.write_end()}, limits, work);
    }
    if (!handlers.input) input_.CloseWriteEnd();  // the other end stays: writing is no SIGPIPE
    output_.CloseWriteEnd();
    messages_.CloseWriteEnd();
    for (const int fd : {output_.read_end(), messages_.read_end(), input_.write_end()}) {
      if (fd >= 0) fcntl(fd, F_SETFL, O_NONBLOCK);
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (pid_ > 0) End(SIGKILL);
  }

  pid_t pid() const { return pid_; }
  void Signal(int number) const { kill(-pid_, number); }

  void AddTo(std::vector<pollfd>& files) const {
    files.push_back({messages_.read_end(), POLLIN, 0});
    files.push_back({output_.read_end(), POLLIN, 0});
    if (handlers_.input && input_.write_end() >= 0) {
      // Reads only what the child has room for: the rest is for whoever reads next.
      if (pending_input_.empty()) {
        files.push_back({*handlers_.input, POLLIN, 0});
      } else {
        files.push_back({input_.write_end(), POLLOUT, 0});
      }
    }
  }

  // After a poll: takes what came, and passes input on.
  void Exchange(const std::vector<pollfd>& files) {
    for (const pollfd& file : files) {
      if (file.revents == 0) continue;
      if (file.fd == output_.read_end()) TakeOutput();
      if (file.fd == messages_.read_end()) TakeMessages();
      if (handlers_.input && file.fd == *handlers_.input) ReadInput();
      if (file.fd == input_.write_end()) WriteInput();
    }
  }

  // Whether the process has ended; ends it when its time is over.
  bool HasEnded(Milliseconds now) {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        info.si_pid == pid_) {
      return true;
    }
    if (const uint32_t steps = state_->steps; steps != steps_) {
      steps_ = steps;
      step_begin_ = now;
    }
    const Milliseconds step_limit(state_->limit_ms);
    const bool is_late = (limits_.time && now - begin_ >= *limits_.time) ||
                         (step_limit.count() > 0 && now - step_begin_ >= step_limit);
    if (!killed_at_ && is_late) {
      kill(pid_, SIGUSR1);
      killed_at_ = now;
    } else if (killed_at_ && now - *killed_at_ >= kGrace) {
      Signal(SIGKILL);
    }
    return false;
  }

  // Of a process that has ended, what came of it. Throws MachineError where that is the machine's
  // fault.
  ChildEnd TakeEnd() {
    const int status = End(SIGKILL);
    // One pipe full at most: a process that it left behind may still be writing.
    for (int i = 0; i < 4; ++i) TakeMessages();
    for (int i = 0; i < 4; ++i) TakeOutput();
    if (!machine_fault_.empty()) throw MachineError(machine_fault_);
    if (WIFSIGNALED(status) && HasRunOutOfTime(WTERMSIG(status))) {
      throw MachineError("a test process may not run any longer (ulimit -t)");
    }
    ChildEnd end;
    if (state_->is_finished) end.result = state_->result;
    if (killed_at_) {
      end.how = ChildEnd::How::kTimedOut;
    } else if (!end.result || !WIFEXITED(status) || WEXITSTATUS(status) != (*end.result & 0xFF)) {
      end.how = ChildEnd::How::kDied;
      end.death = DescribeDeath(status);
    }
    end.activity = state_->activity.data();
    end.report = std::move(report_);
    end.output = std::move(output_text_);
    end.time = std::chrono::steady_clock::now() - real_begin_;
    return end;
  }

 private:
  struct Unmap {
    void operator()(ChildState* state) const { munmap(state, sizeof(ChildState)); }
  };

  int End(int signal) {
    // Its session first: the session's number is its own until its leader was waited for.
    Signal(signal);
    kill(pid_, signal);
    int status = 0;
    while (wait4(pid_, &status, 0, &usage_) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return status;
  }

  // At its limit of processor time the system sends one signal, or, where nothing is allowed beyond
  // that limit, kills at once.
  bool HasRunOutOfTime(int signal) const {
    rlimit limit{};
    const rlim_t used = usage_.ru_utime.tv_sec + usage_.ru_stime.tv_sec + 1;
    return signal == SIGXCPU || (signal == SIGKILL && !killed_at_ &&
                                 getrlimit(RLIMIT_CPU, &limit) == 0 && used >= limit.rlim_max);
  }

  void TakeOutput() {
    if (output_.read_end() < 0) return;
    if (!ReadFrom(output_.read_end(), output_text_)) output_.CloseReadEnd();
    if (handlers_.on_output && !output_text_.empty()) {
      handlers_.on_output(std::exchange(output_text_, {}));
    }
    KeepEnd(output_text_);
  }
  void TakeMessages() {
    if (messages_.read_end() < 0) return;
    if (!ReadFrom(messages_.read_end(), bytes_)) messages_.CloseReadEnd();
    ChildMessage kind{};
    for (std::string text; TakeMessage(bytes_, kind, text);) {
      if (kind == ChildMessage::kShow && handlers_.on_show) handlers_.on_show(text);
      if (kind == ChildMessage::kMachine) machine_fault_ = text;
      constexpr size_t kMostReport = size_t{16} << 20;
      if (kind == ChildMessage::kReport && report_.size() < kMostReport) report_ += text;
    }
  }

  void ReadInput() {
    errno = 0;
    if (ReadFrom(*handlers_.input, pending_input_)) return WriteInput();
    if (errno != 0) throw MachineError("standard input: cannot be read", errno);
    input_.CloseWriteEnd();
  }
  void WriteInput() {
    const ssize_t size = write(input_.write_end(), pending_input_.data(), pending_input_.size());
    if (size > 0) pending_input_.erase(0, static_cast<size_t>(size));
  }

  const ChildLimits limits_;
  const ChildHandlers& handlers_;
  const Milliseconds begin_;
  Milliseconds step_begin_;
  const std::chrono::steady_clock::time_point real_begin_ = std::chrono::steady_clock::now();
  std::unique_ptr<ChildState, Unmap> state_;
  Pipe input_;
  Pipe output_;
  Pipe messages_;
  std::string pending_input_;
  std::string output_text_;
  std::string bytes_;
  std::string report_;
  std::string machine_fault_;
  pid_t pid_ = -1;
  rusage usage_{};  // of a process that has ended
  uint32_t steps_ = 0;
  std::optional<Milliseconds> killed_at_;
};

// A signal's handling and mask as they were.
class SignalGuard {
 public:
  SignalGuard() {
    // An end of a child must be seen wherever this process comes from, also between look and wait.
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGCHLD, &action, &old_child_);
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, &old_mask_);
    sigprocmask(SIG_BLOCK, nullptr, &waiting_mask_);
    sigdelset(&waiting_mask_, SIGCHLD);
  }
  SignalGuard(const SignalGuard&) = delete;
  SignalGuard& operator=(const SignalGuard&) = delete;
  ~SignalGuard() {
    sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
    sigaction(SIGCHLD, &old_child_, nullptr);
  }

  const sigset_t& waiting_mask() const { return waiting_mask_; }

 private:
  struct sigaction old_child_ = {};
  sigset_t old_mask_{};
  sigset_t waiting_mask_{};
};

}  // namespace

void RunChildren(size_t count, const ChildLimits& limits, const ChildWork& work,
                 const ChildHandlers& handlers) {
  const SignalGuard signals;
  const StrayKeeper strays;
  RunningClock clock;
  std::map<size_t, std::unique_ptr<Child>> children;
  size_t jobs = std::max<size_t>(limits.jobs, 1);
  const auto known = [&children] {
    std::set<pid_t> pids;
    for (const auto& [index, child] : children) pids.insert(child->pid());
    return pids;
  };
  const auto start = [&](size_t index) {
    try {
      children.emplace(
          index, std::make_unique<Child>(limits, handlers, clock.now(), [&](ChildReport& report) {
            sigprocmask(SIG_SETMASK, &signals.waiting_mask(), nullptr);
            return work(index, report);
          }));
    } catch (const MachineError&) {
      if (children.empty()) throw;
      jobs = children.size();  // as many as there is room for
      return false;
    }
    return true;
  };
  for (size_t next = 0; next < count || !children.empty();) {
    ThrowIfInterrupted();
    if (TakeStopRequest()) {
      for (const auto& [index, child] : children) child->Signal(SIGSTOP);
      std::raise(SIGSTOP);
      // cppcheck-suppress unreachableCode ; the signal stops this process, and does not end it
      for (const auto& [index, child] : children) child->Signal(SIGCONT);
    }
    while (next < count && children.size() < jobs && start(next)) ++next;

    std::vector<pollfd> files;
    for (const auto& [index, child] : children) child->AddTo(files);
    const timespec tick = {0, std::chrono::nanoseconds(kTick).count()};
    const int ready = ppoll(files.data(), files.size(), &tick, &signals.waiting_mask());
    clock.Advance();
    if (ready < 0) files.clear();
    bool has_one_ended = false;
    for (auto at = children.begin(); at != children.end();) {
      at->second->Exchange(files);
      if (!at->second->HasEnded(clock.now())) {
        ++at;
        continue;
      }
      has_one_ended = true;
      const ChildEnd end = at->second->TakeEnd();
      const size_t index = at->first;
      at = children.erase(at);
      if (handlers.on_end) handlers.on_end(index, end);
    }
    if (has_one_ended) strays.End(known());
  }
}

ChildEnd RunChild(const ChildLimits& limits, const std::function<int(ChildReport&)>& work,
                  const ChildHandlers& handlers) {
  ChildEnd result;
  ChildHandlers all = handlers;
  all.on_end = [&](size_t index, const ChildEnd& end) {
    result = end;
    if (handlers.on_end) handlers.on_end(index, end);
  };
  RunChildren(
      1, limits, [&work](size_t /*index*/, ChildReport& report) { return work(report); }, all);
  return result;
}

}  // namespace brelmo::tavi::tools
