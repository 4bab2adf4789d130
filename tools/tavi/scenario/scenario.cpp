#include "scenario/scenario.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include <limits>
#include <sstream>
#include <utility>

namespace brelmo::tavi::tools {

namespace {

using simulator::HostEvent;

constexpr const char* kBlanks = " \t\r";

// The words of one line, taken from left to right.
class Words {
 public:
  Words(const std::string& text, int line) : stream_(text), line_(line) {}

  [[noreturn]] void Fail(const std::string& message) const { throw ScenarioError(line_, message); }

  // The next word; without one fails, saying what was expected.
  std::string Next(const std::string& expected) {
    std::string word;
    if (!(stream_ >> word)) Fail("expected " + expected + " at the end of the line");
    return word;
  }

  std::optional<std::string> NextIfAny() {
    std::string word;
    if (!(stream_ >> word)) return std::nullopt;
    return word;
  }

  std::string Rest() {
    std::string rest;
    std::getline(stream_ >> std::ws, rest);
    return rest;
  }

  // Any 32-bit value, signed or unsigned: the module sees the same bits.
  int NextValue(const std::string& what) { return ToValue(Next(what), what); }
  int ToValue(const std::string& word, const std::string& what) const {
    return static_cast<int32_t>(ToNumber(word, what, std::numeric_limits<int32_t>::min(),
                                         std::numeric_limits<uint32_t>::max()));
  }

  int NextInt(const std::string& what) {
    return static_cast<int>(ToNumber(Next(what), what, std::numeric_limits<int32_t>::min(),
                                     std::numeric_limits<int32_t>::max()));
  }

  int NextCount(const std::string& what) {
    return static_cast<int>(ToNumber(Next(what), what, 0, std::numeric_limits<int32_t>::max()));
  }

  std::chrono::microseconds NextTime() {
    const std::string word = Next("a time such as 20ms");
    const auto time = ParseTime(word);
    if (!time) Fail("\"" + word + "\" is no time up to an hour; write it as 20ms, 1.5s or 300us");
    return *time;
  }

  // Of a span that is played: a bare number is of seconds.
  std::chrono::microseconds NextSpan() {
    const std::string word = Next("a number of seconds");
    const bool is_bare = word.find_first_not_of("0123456789.") == std::string::npos;
    if (const auto time = ParseTime(is_bare ? word + "s" : word)) return *time;
    Fail("\"" + word + "\" is no number of seconds up to an hour; write 2.5, or 300ms");
  }

  int NextCode() {
    const int code = NextInt("a code other than 0");
    if (code == 0) Fail("a code of 0 would be success");
    return code;
  }

  void ExpectEnd() {
    if (const auto word = NextIfAny()) Fail("the step ends before \"" + *word + "\"");
  }

 private:
  // Decimal or hexadecimal.
  int64_t ToNumber(const std::string& word, const std::string& what, int64_t least,
                   int64_t greatest) const {
    errno = 0;
    char* end = nullptr;
    const bool is_hexadecimal = word.rfind("0x", 0) == 0 || word.rfind("0X", 0) == 0;
    const long long value = std::strtoll(word.c_str(), &end, is_hexadecimal ? 16 : 10);
    if (end == word.c_str() || *end != '\0') {
      Fail("\"" + word + "\" is no number; expected " + what);
    }
    if (errno != 0 || value < least || value > greatest) {
      Fail("\"" + word + "\" is not in " + std::to_string(least) + " to " +
           std::to_string(greatest) + "; expected " + what);
    }
    return value;
  }

  std::istringstream stream_;
  int line_;
};

EventStep MakeEvent(HostEvent::Source source, int number, int value) {
  return {{source, number, value, false}};
}

EventStep ParseRaw(Words& words) {
  const std::string source = words.Next("common, usecase or hinge");
  HostEvent event;
  event.is_raw = true;
  if (source == "hinge") {
    event.source = HostEvent::Source::kHingeAngle;
    event.value = words.NextInt("an angle in degrees");
    return {event};
  }
  if (source == "common") {
    event.source = HostEvent::Source::kCommon;
  } else if (source == "usecase") {
    event.source = HostEvent::Source::kUsecase;
  } else {
    words.Fail("\"" + source + "\" is no source of events; expected common, usecase or hinge");
  }
  event.number = words.NextInt("an event number");
  const auto value = words.NextIfAny();
  if (!value) {
    event.value = 0;
  } else if (*value != "null") {
    event.value = words.ToValue(*value, "a value or null");
  }
  return {event};
}

DspStep ParseDsp(Words& words) {
  const std::string what = words.Next("refuse, slow, absent or present");
  DspStep step{};
  if (what == "refuse") {
    step.what = DspStep::What::kRefuse;
    step.count = words.NextCount("the number of writes to refuse");
    step.code = words.NextCode();
  } else if (what == "slow") {
    step.what = DspStep::What::kSlow;
    step.delay = words.NextTime();
  } else if (what == "absent") {
    step.what = DspStep::What::kAbsent;
  } else if (what == "present") {
    step.what = DspStep::What::kPresent;
  } else {
    words.Fail("\"" + what +
               "\" is nothing that a DSP does; expected refuse, slow, absent or present");
  }
  return step;
}

RefuseStep ParseRefuse(Words& words) {
  const std::string what = words.Next("memory, common-client, usecase-client or sensor");
  if (what == "memory") return {RefuseStep::What::kMemory, 0};
  if (what == "common-client") return {RefuseStep::What::kCommonClient, words.NextCode()};
  if (what == "usecase-client") return {RefuseStep::What::kUsecaseClient, words.NextCode()};
  if (what == "sensor") return {RefuseStep::What::kSensor, words.NextCode()};
  words.Fail("\"" + what +
             "\" is nothing to refuse; expected memory, common-client, usecase-client or sensor");
}

ExpectStep ParseExpect(Words& words) {
  const std::string what =
      words.Next("write, no write, writes, case, status, log, init or no handle");
  if (what == "no") {
    const std::string of = words.Next("write or handle");
    if (of == "write") return {ExpectStep::What::kNoWrite, 0, ""};
    if (of == "handle") return {ExpectStep::What::kNoHandle, 0, ""};
    words.Fail("\"no " + of + "\" cannot be expected; expected write or handle");
  }
  if (what == "write") return {ExpectStep::What::kWrite, 0, ""};
  if (what == "writes") {
    return {ExpectStep::What::kWriteCount, words.NextCount("a number of writes"), ""};
  }
  if (what == "case") return {ExpectStep::What::kCase, words.NextCount("a case number"), ""};
  if (what == "status") {
    const int status = words.NextCount("0 or 1");
    if (status != 0 && status != 1) words.Fail("a status is 0 or 1");
    return {ExpectStep::What::kStatus, status, ""};
  }
  if (what == "init") return {ExpectStep::What::kInit, words.NextInt("init's result"), ""};
  if (what == "log") {
    ExpectStep step{ExpectStep::What::kLog, 0, words.Rest()};
    if (step.text.empty()) words.Fail("expected a piece of a log line at the end of the line");
    return step;
  }
  words.Fail("\"" + what +
             "\" cannot be expected; expected write, no write, writes, case, status, log, init or "
             "no handle");
}

}  // namespace

std::string StripLine(const std::string& line) {
  std::string text = line;
  for (size_t at = text.find('#'); at != std::string::npos; at = text.find('#', at + 1)) {
    if (at == 0 || text[at - 1] == ' ' || text[at - 1] == '\t') {
      text.erase(at);
      break;
    }
  }
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::optional<std::chrono::microseconds> ParseTime(const std::string& text) {
  char* unit = nullptr;
  const double number = std::strtod(text.c_str(), &unit);
  if (unit == text.c_str() || !(number >= 0)) return std::nullopt;
  double scale = 0;
  if (const std::string name = unit; name == "s") {
    scale = 1e6;
  } else if (name == "ms") {
    scale = 1e3;
  } else if (name == "us") {
    scale = 1;
  } else {
    return std::nullopt;
  }
  constexpr double kLongest = 3600e6;
  if (number * scale > kLongest) return std::nullopt;
  return std::chrono::microseconds(static_cast<int64_t>(number * scale));
}

std::optional<Step> ParseStep(const std::string& line, int number) {
  if (const size_t at = line.find('\0'); at != std::string::npos) {
    throw ScenarioError(number, "a null character stands in column " + std::to_string(at + 1));
  }
  Step step{number, StripLine(line), InitStep{}};
  if (step.text.empty()) return std::nullopt;
  Words words(step.text, number);
  const std::string verb = words.Next("a step");
  if (verb == "announce" || verb == "withdraw") {
    step.action =
        MakeEvent(HostEvent::Source::kCommon,
                  verb == "announce" ? simulator::kValueAnnounced : simulator::kValueWithdrawn,
                  words.NextValue("a common value"));
  } else if (verb == "start" || verb == "stop") {
    step.action =
        MakeEvent(HostEvent::Source::kUsecase,
                  verb == "start" ? simulator::kUsecaseStarted : simulator::kUsecaseStopped,
                  words.NextValue("a use case"));
  } else if (verb == "rotation") {
    step.action = MakeEvent(HostEvent::Source::kCommon, simulator::kScreenRotated,
                            words.NextInt("a rotation in degrees"));
  } else if (verb == "hinge") {
    step.action =
        MakeEvent(HostEvent::Source::kHingeAngle, 0, words.NextInt("an angle in degrees"));
  } else if (verb == "raw") {
    step.action = ParseRaw(words);
  } else if (verb == "call") {
    step.action = CallStep{true};
  } else if (verb == "hang") {
    if (words.Next("up") != "up") words.Fail("\"hang\" is no step; expected hang up");
    step.action = CallStep{false};
  } else if (verb == "init") {
    step.action = InitStep{};
  } else if (verb == "deinit") {
    step.action = DeinitStep{};
  } else if (verb == "dump") {
    step.action = DumpStep{};
  } else if (verb == "wait") {
    step.action = WaitStep{words.NextTime()};
  } else if (verb == "play") {
    step.action = WaitStep{words.NextSpan()};
  } else if (verb == "say") {
    step.action = SayStep{words.Rest()};
  } else if (verb == "dsp") {
    step.action = ParseDsp(words);
  } else if (verb == "refuse") {
    step.action = ParseRefuse(words);
  } else if (verb == "expect") {
    step.action = ParseExpect(words);
  } else {
    words.Fail("\"" + verb + "\" is no step; `tavi run --help` lists them");
  }
  words.ExpectEnd();
  return step;
}

std::vector<Step> ParseScenario(std::istream& input) {
  std::vector<Step> steps;
  int number = 0;
  for (std::string line; std::getline(input, line);) {
    if (auto step = ParseStep(line, ++number)) steps.push_back(std::move(*step));
  }
  return steps;
}

const char* ScenarioHelp() {
  return R"(Events, each delivered on its own host thread:
  announce V / withdraw V     a common value comes or goes (common events 2 and 4)
  start U / stop U            a use case starts or stops (use-case events 21 and 22)
  call / hang up              announce 5 and start 6; stop 6 and withdraw 5
  rotation DEG                the screen was rotated (common event 8)
  hinge DEG                   a hinge-angle reading
  raw common N [V|null]       any event, whether or not the module asked for it; V is 0 unless given,
  raw usecase N [U|null]      null is an event without its payload
  raw hinge DEG
The module:
  init / deinit               implied before the first event and at the end
  dump                        the module's own description of its state
Faults:
  refuse memory               at the next init: the context's memory,
  refuse common-client CODE   the common-event client,
  refuse usecase-client CODE  the use-case event client,
  refuse sensor CODE          the hinge-angle sensor
  dsp refuse N CODE           the next N writes are answered with CODE
  dsp slow TIME               every write takes TIME (20ms, 1.5s)
  dsp absent / dsp present    the device has no tuning entry / has it again
Expectations; the run fails, with the line's number, when one is not met:
  expect write / no write     the last event made the module write to the DSP, or not
  expect writes N             ... N times
  expect case N               the corrections that the DSP accepted last are those of case N, counted
                              from 0
  expect status 0|1           the module status that the DSP holds
  expect log TEXT             a line logged during the last event contains TEXT
  expect init RESULT          what init returned
  expect no handle            init handed out nothing
Other:
  wait TIME                   does nothing for that time
  play SECONDS                the same, for scenarios that are heard: so much is played as it is
  say TEXT                    prints TEXT
  # ...                       a comment
  help, quit                  at the prompt and in piped lines
)";
}

}  // namespace brelmo::tavi::tools
