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

// While one lives, keeps the first of an engine's ERROR lines that tells why it refuses a case. The
// lines before it hold no line feed, so none can be taken for it, whatever the configuration holds.
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
