// What a test of the validator came to.
#pragma once

#include <string>
#include <vector>

#include "process/child_process.h"

namespace brelmo::tavi::tools {

// Behind each fault in a child's report.
constexpr char kFaultEnd = '\0';

struct Verdict {
  enum class Kind { kHeld, kFailed, kCrashed, kHung };

  Kind kind = Kind::kHeld;
  std::vector<std::string> faults;
  std::string activity;  // of a crash or a hang: what the module was doing
  std::string output;    // and what the process wrote, the backtrace included
  double seconds = 0;
};

// Of the process that ran the test. A test has held only when the process says so and ends so.
Verdict Judge(const ChildEnd& end);

// "held", "failed", "crashed", "hung".
const char* VerdictName(Verdict::Kind kind);

// The pieces of a text before each `end`, and what is left.
std::vector<std::string> Split(const std::string& text, char end);

}  // namespace brelmo::tavi::tools
