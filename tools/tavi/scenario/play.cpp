#include "scenario/play.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "console/input.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "data_folder.h"
#include "loaded_module.h"
#include "process/child_process.h"
#include "process/machine_error.h"
#include "scenario/line_reader.h"
#include "scenario/prompt.h"
#include "scenario/run_reporter.h"
#include "scenario/scenario.h"
#include "scenario/scenario_runner.h"

namespace brelmo::tavi::tools {

namespace {

using Clock = std::chrono::steady_clock;

// What the child's work comes to.
enum Outcome : int { kAsExpected = 0, kBroken = 1, kUnusable = 2, kNotCaptured = 4 };

// The first character of a text that is shown.
constexpr char kToOutput = 'o';
constexpr char kToError = 'e';

InputError AtLine(const std::string& name, const ScenarioError& error) {
  return InputError(name + ":" + std::to_string(error.line()) + ": " + error.what());
}

// Everything is read before anything is played: a bad last line costs nothing.
std::vector<Step> ReadScenario(const std::string& path) {
  std::istringstream input(ReadFile(path));
  try {
    return ParseScenario(input);
  } catch (const ScenarioError& error) {
    throw AtLine(path, error);
  }
}

// A terminal that a child sets to its purpose: set back whatever ends the child.
class TerminalLines {
 public:
  TerminalLines() : fd_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)) { tcgetattr(fd_, &state_); }
  TerminalLines(const TerminalLines&) = delete;
  TerminalLines& operator=(const TerminalLines&) = delete;
  ~TerminalLines() {
    tcsetattr(fd_, TCSADRAIN, &state_);
    close(fd_);
  }

  int fd() const { return fd_; }

 private:
  const int fd_;
  termios state_{};
};

// What the user's terminal is, which the child does not have.
struct Terminal {
  bool is_coloured = IsColourWanted();
  bool is_prompting = false;
  std::optional<TerminalLines> lines;  // where lines can be edited: the child reads them there
};

std::unique_ptr<RunReporter> MakeReporter(const PlaySetup& setup, const Terminal& terminal,
                                          RunReporter::Put put) {
  return setup.is_json ? MakeJsonReporter(std::move(put))
                       : MakeTextReporter(terminal.is_coloured, std::move(put));
}

// ---- In the child -------------------------------------------------------------------------------

// Plays lines as they come. False when the module did not return.
bool PlayLines(ScenarioRunner& runner, LineReader& lines, Prompt* prompt, bool is_prompting,
               const RunReporter::Put& show) {
  if (is_prompting) show("Type steps, one a line; help lists them, quit ends.\n");
  int number = 0;
  for (std::string line;;) {
    if (is_prompting && prompt == nullptr) show("tavi> ");
    try {
      if (prompt != nullptr ? !prompt->Next(line) : !lines.Next(line)) break;
      ++number;
    } catch (const ScenarioError& error) {
      throw AtLine("standard input", error);
    }
    const std::string word = StripLine(line);
    if (word == "quit" || word == "exit") return true;
    if (word == "help") {
      show(ScenarioHelp());
      continue;
    }
    try {
      const auto step = ParseStep(line, number);
      if (step && !runner.Play(*step)) return false;
    } catch (const ScenarioError& error) {
      if (!is_prompting) throw AtLine("standard input", error);
      show(Printable(error.what()) + "\n");
    }
  }
  if (is_prompting) show("\n");
  return true;
}

bool PlaySteps(ScenarioRunner& runner, const std::vector<Step>& steps, const std::string& name) {
  try {
    for (const Step& step : steps) runner.CheckStep(step);
    return std::all_of(steps.begin(), steps.end(),
                       [&runner](const Step& step) { return runner.Play(step); });
  } catch (const ScenarioError& error) {
    throw AtLine(name, error);
  }
}

int Play(const PlaySetup& setup, const std::vector<Step>& steps, const Terminal& terminal,
         Clock::time_point begin, ChildReport& child) {
  std::optional<simulator::DataFolder> data_folder;
  if (!setup.data_root.empty()) data_folder.emplace(setup.data_root);
  LineReader lines(terminal.lines ? terminal.lines->fd()
                                  : STDIN_FILENO);  // before the module can touch the descriptor
  // Standard output is for JSON alone, if for JSON at all.
  const char stream = setup.is_json ? kToError : kToOutput;
  const auto show = [&child, stream](const std::string& text) { child.Show(stream + text); };
  const bool reads_lines = setup.scenario == "-";
  std::unique_ptr<Prompt> prompt;
  if (terminal.lines) prompt = Prompt::Open(terminal.lines->fd(), show);
  child.Set("loading " + setup.module, setup.patience);
  const simulator::LoadedModule module(setup.module);
  child.Set("reading the configuration", setup.patience);
  const auto reporter = MakeReporter(
      setup, terminal, [&child](const std::string& text) { child.Show(kToOutput + text); });
  const std::string name = reads_lines ? "standard input" : setup.scenario;
  ScenarioRunner runner(module,
                        {setup.config, name, setup.capture, setup.patience, begin,
                         setup.capture_format, setup.is_time_virtual},
                        *reporter, child);
  child.Set("nothing: it was before the first step");
  const bool is_alive =
      (reads_lines ? PlayLines(runner, lines, prompt.get(), terminal.is_prompting, show)
                   : PlaySteps(runner, steps, name)) &&
      runner.Finish();
  runner.ReportTotals();
  const int outcome = (runner.is_as_expected() ? kAsExpected : kBroken) |
                      (runner.is_capture_complete() ? 0 : kNotCaptured);
  if (!is_alive) {
    // A module that did not return holds threads that cannot be joined.
    child.Finish(outcome);
    std::_Exit(outcome);
  }
  return outcome;
}

// ---- In the parent ------------------------------------------------------------------------------

// The lines that a module writes to standard output and error, up to a point.
class Prints {
 public:
  Prints(RunReporter& reporter, Clock::time_point begin) : reporter_(reporter), begin_(begin) {}

  void Add(const std::string& text) {
    constexpr size_t kMost = size_t{1} << 20;
    if (size_ > kMost) return;
    size_ += text.size();
    line_ += text.substr(0, kMost);
    size_t begin = 0;
    for (size_t end = line_.find('\n'); end != std::string::npos; end = line_.find('\n', begin)) {
      Put(line_.substr(begin, end - begin));
      begin = end + 1;
    }
    line_.erase(0, begin);
    if (size_ > kMost) {
      End();
      Put("(it prints more than 1 MiB: what comes now is left out)");
    }
  }
  void End() {
    if (!line_.empty()) Put(std::exchange(line_, {}));
  }

 private:
  void Put(const std::string& line) {
    reporter_.SetTime(std::chrono::duration<double>(Clock::now() - begin_).count());
    reporter_.OnPrint(line);
  }

  RunReporter& reporter_;
  const Clock::time_point begin_;
  std::string line_;
  size_t size_ = 0;
};

void PutTo(std::FILE* stream, const std::string& text, size_t begin) {
  std::fwrite(text.data() + begin, 1, text.size() - begin, stream);
}

}  // namespace

PlayResult PlayScenario(const PlaySetup& setup) {
  const bool reads_lines = setup.scenario == "-";
  std::vector<Step> steps;
  if (!reads_lines) steps = ReadScenario(setup.scenario);
  Terminal terminal;
  terminal.is_prompting =
      isatty(STDIN_FILENO) != 0 && isatty(setup.is_json ? STDERR_FILENO : STDOUT_FILENO) != 0;
  const auto begin = Clock::now();

  const RunReporter::Put put =
      setup.put ? setup.put : [](const std::string& text) { PutTo(stdout, text, 0); };
  const auto reporter = MakeReporter(setup, terminal, put);
  Prints prints(*reporter, begin);
  ChildHandlers handlers;
  handlers.on_show = [&put](const std::string& text) {
    if (text[0] == kToError) {
      PutTo(stderr, text, 1);
    } else {
      put(text.substr(1));
      std::fflush(stdout);
    }
  };
  // At once, not by the line: a module that prints much waits for it.
  handlers.on_output = [&prints](const std::string& text) {
    prints.Add(text);
    std::fflush(stdout);
  };
  if (reads_lines && terminal.is_prompting && Prompt::IsPossible()) terminal.lines.emplace();
  if (reads_lines && !terminal.lines) handlers.input = STDIN_FILENO;
  ChildLimits limits;
  limits.time.reset();
  limits.end_time = setup.patience;
  std::fflush(stdout);
  const ChildEnd end = RunChild(
      limits,
      [&](ChildReport& child) {
        try {
          return Play(setup, steps, terminal, begin, child);
        } catch (const MachineError&) {
          throw;
        } catch (const std::system_error&) {
          throw;
        } catch (const std::runtime_error& error) {
          child.Add(error.what());
          child.Finish(kUnusable);
          std::_Exit(kUnusable);
        }
      },
      handlers);
  prints.End();
  if (end.result == kUnusable) throw InputError(end.report);
  PlayResult result;
  result.is_capture_complete = (end.result.value_or(0) & kNotCaptured) == 0;
  if (end.how == ChildEnd::How::kReturned) {
    result.is_as_expected = (*end.result & kBroken) == 0;
    return result;
  }
  reporter->SetTime(std::chrono::duration<double>(Clock::now() - begin).count());
  reporter->OnViolation(end.how == ChildEnd::How::kDied
                            ? "the module " + end.death + " during: " + end.activity
                            : "the module did not return from: " + end.activity);
  return result;
}

}  // namespace brelmo::tavi::tools
