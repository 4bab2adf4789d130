// Why the module's engine refuses a case, by what it logs.
#pragma once

#include <optional>
#include <string_view>

#include "log_capture.h"

namespace brelmo::tavi::tools {

enum class Refusal {
  kConditionCount,
  kMissingOutput,
  kNoConditions,
  kUnknownCondition,
  kNoInteger,
  kUnsupportedValues,
};

// While an object lives, it keeps the first of an engine's ERROR lines that tells why a case is
// refused. Each line before that one is a single line of text, so that nothing in a configuration
// can pass for it.
class RefusalLog {
 public:
  std::optional<Refusal> refusal() const { return refusal_; }

 private:
  void Look(const simulator::LogLine& line);

  std::optional<Refusal> refusal_;
  simulator::LogCapture capture_{[this](const simulator::LogLine& line) { Look(line); }};
};

// What the engine finds wrong with one condition by itself.
std::optional<Refusal> JudgeCondition(std::string_view name, std::string_view value);

}  // namespace brelmo::tavi::tools
