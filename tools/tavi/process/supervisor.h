// Runs work that calls a module in a process of its own, so that a module that crashes is a result.
#pragma once

#include <functional>
#include <string>

namespace brelmo::tavi::tools {

// What the work is doing, readable from outside when it has died.
class Activity {
 public:
  virtual ~Activity() = default;
  virtual void Set(const std::string& text) = 0;
  // Nothing is left to do: the process may end now.
  virtual void Finish() = 0;
};

// Of a process that did not end as it was to, by its wait status: "crashed (SIGSEGV, Segmentation
// fault)".
std::string DescribeDeath(int status);

// Runs `work` in a child process and returns its result. When the process dies before `work`
// returns, calls `on_death` in this process, with how it died and what it was doing, and returns 1.
// The caller must not have started threads.
int RunSupervised(
    const std::function<int(Activity&)>& work,
    const std::function<void(const std::string& death, const std::string& activity)>& on_death);

}  // namespace brelmo::tavi::tools
