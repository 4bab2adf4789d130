#include "validate/validate.h"

#include <fnmatch.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "console/input.h"
#include "process/child_process.h"
#include "process/scratch_folder.h"
#include "trial/module_check.h"
#include "trial/trial.h"
#include "validate/verdict.h"

namespace brelmo::tavi::tools {

namespace {

int RunOne(const Validation& validation, const TrialSetup& setup, ChildReport& report) {
  Trial trial(setup, report);
  try {
    validation.run(trial);
  } catch (const TrialOver&) {
    // Its faults have been reported.
  }
  trial.CheckViolations();
  return trial.has_failed() ? 1 : 0;
}

}  // namespace

Validations SelectValidations(const std::vector<std::string>& patterns) {
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

bool Validate(const ValidateSetup& setup, Validations validations, VerdictReporter& reporter) {
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  RequireModule(setup.module, setup.patience);
  const std::string path = std::filesystem::absolute(setup.module).string();
  ChildLimits limits;
  limits.jobs = setup.jobs;
  limits.time = std::chrono::seconds(60) + 3 * setup.patience;
  limits.end_time = setup.patience;
  Totals totals;
  totals.why_not_run = FindWhyNotTaken(path, setup.patience);
  if (!totals.why_not_run.empty()) {
    const auto end =
        std::remove_if(validations.begin(), validations.end(),
                       [](const Validation& validation) { return !validation.is_of_the_file; });
    totals.not_run = static_cast<size_t>(validations.end() - end);
    validations.erase(end, validations.end());
  }

  const ScratchFolder folder;
  std::map<size_t, Verdict> waiting;  // for those before them: the order is that of the list
  size_t ended = 0;
  size_t next = 0;
  RunChildren(validations.size(), limits,
              [&](size_t index, ChildReport& report) {
                const TrialSetup trial = {
                    path, folder.Make(), setup.patience,
                    [&report](const std::string& fault) { report.Add(fault + kFaultEnd); }};
                return RunOne(validations[index], trial, report);
              },
              {[&](size_t index, const ChildEnd& end) {
                waiting.emplace(index, Judge(end));
                ++ended;
                for (auto at = waiting.find(next); at != waiting.end(); at = waiting.find(++next)) {
                  if (at->second.kind == Verdict::Kind::kHeld) {
                    ++totals.held;
                  } else {
                    totals.failed.push_back(validations[next].name);
                  }
                  reporter.Put(validations[next], at->second);
                  waiting.erase(at);
                }
                reporter.PutProgress(ended, validations.size(), totals.failed.size());
              }});
  totals.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  reporter.PutTotals(setup.module, totals);
  return totals.failed.empty() && totals.not_run == 0;
}

}  // namespace brelmo::tavi::tools
