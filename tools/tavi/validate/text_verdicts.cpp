#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <utility>

#include "console/terminal.h"
#include "console/wording.h"
#include "process/backtraces.h"
#include "validate/verdict_reporter.h"

namespace brelmo::tavi::tools {

namespace {

class TextVerdicts final : public VerdictReporter {
 public:
  TextVerdicts(std::string module, bool is_verbose)
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
    std::string kind = VerdictName(verdict.kind);
    if (!has_held) std::transform(kind.begin(), kind.end(), kind.begin(), ::toupper);
    kind.resize(std::max<size_t>(kind.size() + 1, 8), ' ');
    Print(is_colour_, has_held ? colour::kGreen : colour::kRed, kind);
    Print(is_colour_, colour::kBold, validation.name);
    std::printf(": %s", validation.holds.c_str());
    if (is_verbose_) std::printf(" (%.2f s)", verdict.seconds);
    std::printf("\n");
    for (const std::string& fault : verdict.faults) {
      std::printf("  %s\n", PrintableLines(fault).c_str());
    }
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

}  // namespace

std::unique_ptr<VerdictReporter> MakeTextVerdicts(const std::string& module, bool is_verbose) {
  return std::make_unique<TextVerdicts>(module, is_verbose);
}

}  // namespace brelmo::tavi::tools
