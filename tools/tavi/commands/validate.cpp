// tavi validate: whether a build of the module does what its host may count on, test by test.
#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "process/child_process.h"
#include "process/scratch_folder.h"
#include "trial/host_match.h"
#include "trial/module_file.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kFaultEnd = '\0';

struct Options {
  std::string module;
  std::vector<std::string> patterns;
  std::string format = "text";
  bool is_list = false;
  bool is_verbose = false;
  size_t jobs = std::max(1U, std::thread::hardware_concurrency());
  int patience = 10;  // seconds
};

// ---- Verdicts -----------------------------------------------------------------------------------

struct Verdict {
  enum class Kind { kHeld, kFailed, kCrashed, kHung };

  Kind kind = Kind::kHeld;
  std::vector<std::string> faults;
  std::string activity;  // of a crash or a hang: what the module was doing
  std::string output;    // and what the process wrote, the backtrace included
  double seconds = 0;
};

const char* Name(Verdict::Kind kind) {
  switch (kind) {
    case Verdict::Kind::kHeld:
      return "held";
    case Verdict::Kind::kFailed:
      return "failed";
    case Verdict::Kind::kCrashed:
      return "crashed";
    case Verdict::Kind::kHung:
      break;
  }
  return "hung";
}

std::vector<std::string> Split(const std::string& text, char end) {
  std::vector<std::string> pieces;
  for (size_t at = 0; at < text.size();) {
    const size_t next = std::min(text.find(end, at), text.size());
    pieces.push_back(text.substr(at, next - at));
    at = next + 1;
  }
  return pieces;
}

Verdict Judge(const ChildEnd& end) {
  Verdict verdict;
  verdict.seconds = end.time.count();
  verdict.faults = Split(end.report, kFaultEnd);
  if (end.how == ChildEnd::How::kReturned && end.result == kExitAsExpected) return verdict;
  if (end.how == ChildEnd::How::kReturned && end.result == kExitBroken && !verdict.faults.empty()) {
    verdict.kind = Verdict::Kind::kFailed;
    return verdict;
  }
  verdict.activity = end.activity;
  verdict.output = end.output;
  if (end.how == ChildEnd::How::kTimedOut ||
      (end.how == ChildEnd::How::kReturned && end.result == kHungResult)) {
    verdict.kind = Verdict::Kind::kHung;
    verdict.faults.push_back("the module did not return from: " + end.activity);
  } else if (end.how == ChildEnd::How::kDied) {
    verdict.kind = Verdict::Kind::kCrashed;
    verdict.faults.push_back("the module " + end.death + " during: " + end.activity);
  } else {
    // What a sanitizer found at the end of the process.
    verdict.kind = Verdict::Kind::kFailed;
    verdict.faults.push_back("the process ended with exit code " + std::to_string(end.result));
  }
  return verdict;
}

// ---- Output -------------------------------------------------------------------------------------

struct Totals {
  size_t held = 0;
  std::vector<std::string> failed;
  size_t not_run = 0;
  std::string why_not_run;
  double seconds = 0;
};

class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  virtual ~Output() = default;

  virtual void PutList(const Validations& validations) = 0;
  virtual void PutProgress(size_t /*ended*/, size_t /*count*/, size_t /*failed*/) {}
  virtual void Put(const Validation& validation, const Verdict& verdict) = 0;
  virtual void PutTotals(const std::string& module, const Totals& totals) = 0;
};

class TextOutput final : public Output {
 public:
  TextOutput(std::string module, bool is_verbose)
      : module_(std::move(module)),
        is_verbose_(is_verbose),
        is_colour_(IsColourWanted()),
        has_progress_(!is_verbose && isatty(STDERR_FILENO) != 0) {}

  void PutList(const Validations& validations) override {
    size_t width = 0;
    for (const auto& validation : validations) width = std::max(width, validation.name.size());
    for (const auto& validation : validations) {
      std::printf("%-*s  %s\n", static_cast<int>(width), validation.name.c_str(),
                  validation.holds.c_str());
    }
  }

  void PutProgress(size_t ended, size_t count, size_t failed) override {
    if (!has_progress_) return;
    std::fprintf(stderr, "\r\033[K%zu of %s", ended, Count(count, "test").c_str());
    if (failed > 0) std::fprintf(stderr, ", %zu failed", failed);
    std::fflush(stderr);
  }

  void Put(const Validation& validation, const Verdict& verdict) override {
    const bool has_held = verdict.kind == Verdict::Kind::kHeld;
    if (has_held && !is_verbose_) return;
    ClearProgress();
    std::string kind = Name(verdict.kind);
    if (!has_held) std::transform(kind.begin(), kind.end(), kind.begin(), ::toupper);
    kind.resize(std::max<size_t>(kind.size() + 1, 8), ' ');
    Print(is_colour_, has_held ? colour::kGreen : colour::kRed, kind);
    Print(is_colour_, colour::kBold, validation.name);
    std::printf(": %s", validation.holds.c_str());
    if (is_verbose_) std::printf(" (%.2f s)", verdict.seconds);
    std::printf("\n");
    for (const std::string& fault : verdict.faults) std::printf("  %s\n", fault.c_str());
    PutOutput(validation.name, InModule(verdict.output));
    std::fflush(stdout);
  }

  void PutTotals(const std::string& module, const Totals& totals) override {
    ClearProgress();
    const size_t run = totals.held + totals.failed.size();
    if (totals.not_run > 0) {
      Print(is_colour_, colour::kRed,
            Count(totals.not_run, "test") + " not run: " + totals.why_not_run + "\n");
    }
    std::printf("%s: ", Printable(module).c_str());
    const std::string text = totals.failed.empty() ? Count(run, "test") + " held"
                                                   : std::to_string(totals.failed.size()) + " of " +
                                                         Count(run, "test") + " failed";
    Print(is_colour_, totals.failed.empty() && totals.not_run == 0 ? colour::kGreen : colour::kRed,
          text);
    std::printf(" (%.1f s)\n", totals.seconds);
  }

 private:
  void ClearProgress() const {
    if (has_progress_) std::fprintf(stderr, "\r\033[K");
  }

  // Equal backtraces once: where one fault ends many tests, the others are seen among them.
  void PutOutput(const std::string& test, const std::vector<std::string>& lines) {
    const auto trace = std::find_if(lines.begin(), lines.end(), IsTitle);
    const auto put = [](const std::string& line) {
      std::printf("    %s\n", Printable(line).c_str());
    };
    std::for_each(lines.begin(), trace, put);
    if (trace == lines.end()) return;
    std::string frames;
    // Behind the last bracket stands an address, which is of this process alone.
    for (auto line = trace; line != lines.end(); ++line) {
      if (IsFrame(*line)) frames += line->substr(0, line->rfind('[')) + "\n";
    }
    const auto [first, is_new] = traces_.emplace(frames, test);
    if (is_new || frames.empty()) {
      std::for_each(trace, lines.end(), put);
    } else {
      put("the module's backtrace is that of " + first->second);
    }
  }

  static bool IsTitle(const std::string& line) { return line.rfind(kBacktraceTitle, 0) == 0; }
  // Of the module.
  bool IsFrame(const std::string& line) const {
    return line.rfind(std::filesystem::absolute(module_).string() + "(", 0) == 0;
  }

  // Of the backtraces those that pass through the module, if any does: the host's idle threads tell
  // nothing.
  std::vector<std::string> InModule(const std::string& output) const {
    std::vector<std::string> all = Split(output, '\n');
    const auto is_in_module = [this](const std::string& line) { return IsFrame(line); };
    if (std::none_of(all.begin(), all.end(), is_in_module)) return all;
    std::vector<std::string> kept;
    for (auto at = all.begin(); at != all.end();) {
      const auto end = std::find_if(at + 1, all.end(), IsTitle);
      if (!IsTitle(*at) || std::any_of(at, end, is_in_module)) kept.insert(kept.end(), at, end);
      at = end;
    }
    return kept;
  }

  const std::string module_;
  const bool is_verbose_;
  const bool is_colour_;
  const bool has_progress_;
  std::map<std::string, std::string> traces_;  // frames in the module -> the first test with them
};

class JsonOutput final : public Output {
 public:
  void PutList(const Validations& validations) override {
    for (const auto& [name, holds, run, is_of_the_file] : validations) {
      Put(Json{{"kind", "test"}, {"name", name}, {"holds", holds}});
    }
  }

  void Put(const Validation& validation, const Verdict& verdict) override {
    Json object = {{"kind", "test"},
                   {"name", validation.name},
                   {"holds", validation.holds},
                   {"verdict", Name(verdict.kind)},
                   {"seconds", verdict.seconds},
                   {"faults", verdict.faults}};
    if (!verdict.activity.empty()) object["during"] = verdict.activity;
    if (!verdict.output.empty()) object["output"] = Split(verdict.output, '\n');
    Put(object);
  }

  void PutTotals(const std::string& module, const Totals& totals) override {
    Json object = {{"kind", "total"},           {"module", module},
                   {"held", totals.held},       {"failed", totals.failed},
                   {"not_run", totals.not_run}, {"seconds", totals.seconds}};
    if (totals.not_run > 0) object["why_not_run"] = totals.why_not_run;
    Put(object);
  }

 private:
  static void Put(const Json& object) {
    std::printf("%s\n", object.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(stdout);
  }
};

// ---- The command --------------------------------------------------------------------------------

Validations Select(const std::vector<std::string>& patterns) {
  Validations validations = AllValidations();
  if (patterns.empty()) return validations;
  const auto is_wanted = [&patterns](const Validation& validation) {
    return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
      const std::string& name = validation.name;
      return fnmatch(pattern.c_str(), name.c_str(), 0) == 0 ||
             name.compare(0, pattern.size() + 1, pattern + ".") == 0;
    });
  };
  validations.erase(std::remove_if(validations.begin(), validations.end(),
                                   [&](const Validation& one) { return !is_wanted(one); }),
                    validations.end());
  if (validations.empty()) {
    const bool is_empty = std::all_of(patterns.begin(), patterns.end(),
                                      [](const std::string& pattern) { return pattern.empty(); });
    throw InputError(is_empty ? "--only: a name, or * for all, is missing"
                              : "--only: no test has such a name; --list shows them all");
  }
  return validations;
}

int RunOne(const Validation& validation, const TrialSetup& setup, ChildReport& report) {
  Trial trial(setup, report);
  try {
    validation.run(trial);
  } catch (const TrialOver&) {
    // Its faults have been reported.
  }
  trial.CheckViolations();
  return trial.has_failed() ? kExitBroken : kExitAsExpected;
}

int Validate(const Options& options) {
  std::unique_ptr<Output> output;
  if (options.format == "json") {
    output = std::make_unique<JsonOutput>();
  } else {
    output = std::make_unique<TextOutput>(options.module, options.is_verbose);
  }
  Validations validations = Select(options.patterns);
  if (options.is_list) {
    output->PutList(validations);
    return kExitAsExpected;
  }
  if (options.module.empty()) throw InputError("validate: MODULE is required");
  CheckIsModule(options.module);
  const std::string path = std::filesystem::absolute(options.module).string();

  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  const std::chrono::seconds patience(options.patience);
  ChildLimits limits;
  limits.jobs = options.jobs;
  limits.time = std::chrono::seconds(60) + 3 * patience;
  Totals totals;
  ChildLimits loading = limits;
  loading.time = patience;
  totals.why_not_run = FindWhyNotTaken(path, loading);
  if (!totals.why_not_run.empty()) {
    limits = loading;  // what is left does no more
    const auto end =
        std::remove_if(validations.begin(), validations.end(),
                       [](const Validation& validation) { return !validation.is_of_the_file; });
    totals.not_run = static_cast<size_t>(validations.end() - end);
    validations.erase(end, validations.end());
  }

  const WorkFolder folder;
  std::map<size_t, Verdict> waiting;  // for those before them: the order is that of the list
  size_t ended = 0;
  size_t next = 0;
  RunChildren(
      validations.size(), limits,
      [&](size_t index, ChildReport& report) {
        const TrialSetup setup = {
            path, folder.Make(), patience,
            [&report](const std::string& fault) { report.Add(fault + kFaultEnd); }};
        return RunOne(validations[index], setup, report);
      },
      [&](size_t index, const ChildEnd& end) {
        waiting.emplace(index, Judge(end));
        ++ended;
        for (auto at = waiting.find(next); at != waiting.end(); at = waiting.find(++next)) {
          if (at->second.kind == Verdict::Kind::kHeld) {
            ++totals.held;
          } else {
            totals.failed.push_back(validations[next].name);
          }
          output->Put(validations[next], at->second);
          waiting.erase(at);
        }
        output->PutProgress(ended, validations.size(), totals.failed.size());
      },
      [&folder] { folder.Remove(); });
  folder.Remove();
  // What has no verdict has not held.
  if (const size_t run = totals.held + totals.failed.size(); run < validations.size()) {
    totals.not_run += validations.size() - run;
    if (totals.why_not_run.empty()) totals.why_not_run = "interrupted";
  }
  totals.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  output->PutTotals(options.module, totals);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw InputError("standard output: could not be written in full");
  }
  return totals.failed.empty() && totals.not_run == 0 ? kExitAsExpected : kExitBroken;
}

}  // namespace

void AddValidateCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "validate", "Test a build of the module: whether it does what its host may count on");
  const auto options = std::make_shared<Options>();
  command->add_option("MODULE", options->module, "The module's library")->type_name("SO");
  command->add_flag("--list", options->is_list, "Print the tests and what each holds, run none");
  command
      ->add_option("--only", options->patterns,
                   "Only tests with such a name, or in a group of that name; with * and ? as in a "
                   "shell; may be repeated")
      ->type_name("PATTERN")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_flag("--verbose", options->is_verbose, "A line for tests that hold, too");
  command->add_option("--format", options->format, "text, or json: one object a line")
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
  command
      ->add_option("--jobs", options->jobs,
                   "Tests that run at the same time; default: one for each processor")
      ->check(CLI::Range(1, 1000))
      ->type_name("N");
  command
      ->add_option("--patience", options->patience,
                   "How long the module may take with one call before it counts as hung; default: "
                   "10")
      ->check(CLI::Range(1, 3600))
      ->type_name("SECONDS");
  command->footer(
      "Each test runs in a process of its own.\n"
      "Exit code: 0 all tests held, 1 one did not, 2 bad usage or no module.");
  command->callback([options, &exit_code] { exit_code = Validate(*options); });
}

}  // namespace brelmo::tavi::tools
