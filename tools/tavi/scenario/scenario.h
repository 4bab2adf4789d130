// The scenario language: what happens on the device, a step a line, in the host's terms.
#pragma once

#include <chrono>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "host_event.h"

namespace brelmo::tavi::tools {

struct EventStep {
  simulator::HostEvent event;
};
// The two events that begin a call, or end it.
struct CallStep {
  bool begins = true;
};
struct InitStep {};
struct DeinitStep {};
struct DumpStep {};
struct WaitStep {
  std::chrono::microseconds time;
};
struct SayStep {
  std::string text;
};
struct DspStep {
  enum class What { kRefuse, kSlow, kAbsent, kPresent };
  What what;
  int count = 0;  // of writes to refuse
  int code = 0;
  std::chrono::microseconds delay{0};
};
struct RefuseStep {
  enum class What { kMemory, kCommonClient, kUsecaseClient, kSensor };
  What what;
  int code = 0;
};
struct ExpectStep {
  enum class What { kWrite, kNoWrite, kWriteCount, kCase, kStatus, kLog, kInit, kNoHandle };
  What what;
  int number = 0;
  std::string text;
};

struct Step {
  int line = 0;
  std::string text;  // as written, without comment and outer blanks
  std::variant<EventStep, CallStep, InitStep, DeinitStep, DumpStep, WaitStep, SayStep, DspStep,
               RefuseStep, ExpectStep>
      action;
};

// A line that is no step; what() says what is wrong with it, the line's number not included.
class ScenarioError : public std::runtime_error {
 public:
  ScenarioError(int line, const std::string& message) : runtime_error(message), line_(line) {}
  int line() const { return line_; }

 private:
  int line_;
};

// A line without its comment and outer blanks. A comment begins at the line's start or behind a
// blank.
std::string StripLine(const std::string& line);
// Empty for a line that is blank or a comment. Throws ScenarioError.
std::optional<Step> ParseStep(const std::string& line, int number);
// Throws ScenarioError at the first bad line.
std::vector<Step> ParseScenario(std::istream& input);

// The language on a page, for the prompt and the manual.
const char* ScenarioHelp();

// "25ms", "1.5s", "300us"; empty for anything else, and for more than an hour.
std::optional<std::chrono::microseconds> ParseTime(const std::string& text);

}  // namespace brelmo::tavi::tools
