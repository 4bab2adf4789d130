#include "process/supervisor.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brelmo::tavi::tools {

namespace {

// In memory that parent and child share.
class SharedActivity : public Activity {
 public:
  void Set(const std::string& text) override {
    const size_t length = std::min(text.size(), sizeof(text_) - 1);
    std::memcpy(text_, text.data(), length);
    text_[length] = '\0';
  }
  std::string text() const { return text_; }
  void Finish() override { is_finished_ = true; }
  bool is_finished() const { return is_finished_; }

 private:
  char text_[1000] = "";
  bool is_finished_ = false;
};

}  // namespace

std::string DescribeDeath(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    const char* const name = sigabbrev_np(signal);  // real-time signals have none
    if (name == nullptr) return "crashed (signal " + std::to_string(signal) + ")";
    return std::string("crashed (SIG") + name + ", " + sigdescr_np(signal) + ")";
  }
  return "ended the process (exit code " + std::to_string(WEXITSTATUS(status)) + ")";
}

int RunSupervised(
    const std::function<int(Activity&)>& work,
    const std::function<void(const std::string& death, const std::string& activity)>& on_death) {
  void* const memory = mmap(nullptr, sizeof(SharedActivity), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  auto* const activity = new (memory) SharedActivity;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody would report what an orphan does
    const int result = work(*activity);
    activity->Finish();
    std::exit(result);
  }

  // The child gets the terminal's interrupt as well; its death is what is reported.
  const auto old_handler = std::signal(SIGINT, SIG_IGN);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  std::signal(SIGINT, old_handler);
  int result = 1;
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) {
    std::raise(SIGINT);
  } else if (activity->is_finished() && WIFEXITED(status)) {
    result = WEXITSTATUS(status);
  } else {
    on_death(DescribeDeath(status), activity->text());
  }
  munmap(memory, sizeof(SharedActivity));
  return result;
}

}  // namespace brelmo::tavi::tools
