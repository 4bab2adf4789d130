// Processes that children of this one leave behind.
#pragma once

#include <sys/types.h>

#include <set>

namespace brelmo::tavi::tools {

// While an object lives, orphans among this process's descendants become its children.
class StrayKeeper {
 public:
  StrayKeeper();
  StrayKeeper(const StrayKeeper&) = delete;
  StrayKeeper& operator=(const StrayKeeper&) = delete;
  ~StrayKeeper();

  // Ends all children but `known` ones and those in a session that one of them leads.
  void End(const std::set<pid_t>& known) const;

 private:
  int was_subreaper_ = 0;
  std::set<pid_t> others_;  // children that were there before
};

}  // namespace brelmo::tavi::tools
