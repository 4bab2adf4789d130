#include "process/strays.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include <fstream>
#include <string>

namespace brelmo::tavi::tools {

namespace {

std::set<pid_t> Children() {
  const std::string self = std::to_string(getpid());
  std::ifstream stream("/proc/" + self + "/task/" + self + "/children");
  std::set<pid_t> children;
  for (pid_t child = 0; stream >> child;) children.insert(child);
  return children;
}

}  // namespace

StrayKeeper::StrayKeeper() : others_(Children()) {
  prctl(PR_GET_CHILD_SUBREAPER, &was_subreaper_);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

StrayKeeper::~StrayKeeper() {
  End({});
  prctl(PR_SET_CHILD_SUBREAPER, was_subreaper_);
}

void StrayKeeper::End(const std::set<pid_t>& known) const {
  // The children of one that ends come next.
  constexpr int kMostGenerations = 100;
  for (int i = 0; i < kMostGenerations; ++i) {
    bool has_found = false;
    for (const pid_t child : Children()) {
      if (known.count(child) != 0 || others_.count(child) != 0 || known.count(getsid(child)) != 0) {
        continue;
      }
      has_found = true;
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
    if (!has_found) return;
  }
}

}  // namespace brelmo::tavi::tools
