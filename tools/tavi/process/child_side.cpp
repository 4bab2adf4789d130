#include "process/child_side.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <exception>
#include <future>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "process/backtraces.h"
#include "process/interrupts.h"
#include "process/machine_error.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kHeadSize = 1 + sizeof(uint32_t);

class Report : public ChildReport {
 public:
  Report(ChildState& state, const ChildFiles& files)
      : state_(state), fd_(files.messages), output_(files.output) {}

  void Set(const std::string& activity, std::optional<std::chrono::milliseconds> limit) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    const size_t length = std::min(activity.size(), state_.activity.size() - 1);
    std::memcpy(state_.activity.data(), activity.data(), length);
    state_.activity[length] = '\0';
    state_.limit_ms = limit ? std::max<int64_t>(limit->count(), 1) : 0;
    ++state_.steps;
  }
  void Add(const std::string& text) override { Send(ChildMessage::kReport, text); }
  void Show(const std::string& text) override { Send(ChildMessage::kShow, text); }
  void WaitForReader() override {
    std::fflush(stdout);
    for (int i = 0; i < 100; ++i) {
      int size = 0;
      if (ioctl(output_, FIONREAD, &size) != 0 || size == 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  void Finish(int result) override {
    state_.result = result;
    state_.is_finished = true;
  }
  void Send(ChildMessage kind, const std::string& text) {
    std::array<char, kHeadSize> head{static_cast<char>(kind)};
    const auto size = static_cast<uint32_t>(text.size());
    std::memcpy(&head[1], &size, sizeof(size));
    const std::lock_guard<std::mutex> lock(mutex_);
    Write(head.data(), head.size());
    Write(text.data(), text.size());
  }

 private:
  void Write(const char* text, size_t size) const {
    for (size_t written = 0; written < size;) {
      const ssize_t count = write(fd_, text + written, size - written);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) {
        constexpr const char* kActivity = "telling what it found: its descriptors had been closed";
        std::strncpy(state_.activity.data(), kActivity, state_.activity.size() - 1);
        _exit(EXIT_FAILURE);
      }
      written += static_cast<size_t>(count);
    }
  }

  ChildState& state_;
  const int fd_;
  const int output_;
  std::mutex mutex_;
};

// Takes what a good module and its host need, before the module is called: what this machine lacks
// shows here, and not as the module's failure.
void CheckElbowRoom() {
  constexpr size_t kFiles = 24;
  constexpr size_t kThreads = 6;
  constexpr size_t kMemory = size_t{256} << 20;
  constexpr rlim_t kStack = size_t{512} << 10;

  std::vector<int> files;
  for (size_t i = 0; i < kFiles; ++i) files.push_back(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  const int code = errno;
  const bool is_short = files.back() < 0;
  for (const int fd : files) {
    if (fd >= 0) close(fd);
  }
  if (is_short)
    throw MachineError("a test process cannot open files", code == EINVAL ? EMFILE : code);

  void* const memory =
      mmap(nullptr, kMemory, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) throw MachineError("a test process has no 256 MiB of memory", errno);
  munmap(memory, kMemory);

  rlimit stack{};
  if (getrlimit(RLIMIT_STACK, &stack) == 0 && stack.rlim_cur < kStack) {
    throw MachineError("the stacks of a test process are less than 512 KiB (ulimit -s)");
  }

  std::promise<void> done;
  const std::shared_future<void> is_done = done.get_future().share();
  std::vector<std::thread> threads;
  int thread_error = 0;
  try {
    for (size_t i = 0; i < kThreads; ++i) threads.emplace_back([is_done] { is_done.wait(); });
  } catch (const std::system_error& error) {
    thread_error = error.code().value();
  }
  done.set_value();
  for (std::thread& thread : threads) thread.join();
  if (thread_error != 0) throw MachineError("a test process cannot start threads", thread_error);
}

void SetUp(const ChildFiles& files) {
  setsid();
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody would hear of what an orphan does
  ForgetInterrupts();
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGXFSZ, SIG_IGN);  // writing fails, and says why
  const rlimit no_core{};
  setrlimit(RLIMIT_CORE, &no_core);
  // The module writes to these, the work to the parent by another pipe.
  const int input = files.input >= 0 ? files.input : open("/dev/null", O_RDONLY | O_CLOEXEC);
  dup2(input, STDIN_FILENO);
  dup2(files.output, STDOUT_FILENO);
  dup2(files.output, STDERR_FILENO);
  WriteBacktracesOnDeath(files.output);
}

}  // namespace

Pipe::Pipe() {
  if (pipe2(ends_.data(), O_CLOEXEC) != 0) throw MachineError("no pipe can be made", errno);
}

Pipe::~Pipe() {
  CloseReadEnd();
  CloseWriteEnd();
}

void Pipe::Close(size_t end) {
  if (ends_[end] >= 0) close(ends_[end]);
  ends_[end] = -1;
}

bool TakeMessage(std::string& bytes, ChildMessage& kind, std::string& text) {
  if (bytes.size() < kHeadSize) return false;
  uint32_t size = 0;
  std::memcpy(&size, &bytes[1], sizeof(size));
  if (bytes.size() - kHeadSize < size) return false;
  kind = static_cast<ChildMessage>(bytes[0]);
  text = bytes.substr(kHeadSize, size);
  bytes.erase(0, kHeadSize + size);
  return true;
}

void LiveAsChild(ChildState& state, const ChildFiles& files, const ChildLimits& limits,
                 const std::function<int(ChildReport&)>& work) {
  SetUp(files);
  Report report(state, files);
  const auto fail = [&report](const std::string& text) {
    report.Send(ChildMessage::kMachine, text);
    std::_Exit(EXIT_FAILURE);
  };
  // An exception would unwind the parent's half of this stack, which ends the other children.
  try {
    CheckElbowRoom();
    const int result = work(report);
    report.Set("its unloading", limits.end_time);
    report.Finish(result);
    // What a sanitizer has to say at the end is said here, and changes the exit code.
    std::exit(result);
  } catch (const MachineError& error) {
    fail(error.what());
  } catch (const std::system_error& error) {
    fail(MachineError(error.what(), error.code().value()).what());
  } catch (const std::bad_alloc&) {
    fail(MachineError("a test process has no memory left", ENOMEM).what());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  } catch (...) {
    std::fprintf(stderr, "an unknown exception\n");
  }
  std::fflush(nullptr);
  std::_Exit(EXIT_FAILURE);
}

}  // namespace brelmo::tavi::tools
