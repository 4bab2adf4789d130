// tavi validate: whether a build of the module does what its host may count on, test by test.

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/module_options.h"
#include "console/input.h"
#include "console/output.h"
#include "process/interrupts.h"
#include "validate/validate.h"

namespace brelmo::tavi::tools {

namespace {

struct ValidateCommand {
  std::string module;
  std::vector<std::string> patterns;
  std::string format = "text";
  bool is_list = false;
  bool is_verbose = false;
  size_t jobs = DefaultJobs();
  int patience = kDefaultPatience;
};

int Validate(const ValidateCommand& options) {
  const auto reporter = options.format == "json"
                            ? MakeJsonVerdicts()
                            : MakeTextVerdicts(options.module, options.is_verbose);
  Validations validations = SelectValidations(options.patterns);
  if (options.is_list) {
    reporter->PutList(validations);
    return kExitAsExpected;
  }
  if (options.module.empty()) throw InputError("validate: MODULE is required");
  const ValidateSetup setup = {options.module, options.jobs,
                               std::chrono::seconds(options.patience)};
  return RunInterruptible([&] {
    const bool has_held = Validate(setup, std::move(validations), *reporter);
    // Before a signal can come between.
    FlushStandardOutput();
    return has_held ? kExitAsExpected : kExitBroken;
  });
}

}  // namespace

void AddValidateCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "validate", "Test a build of the module: whether it does what its host may count on");
  const auto options = std::make_shared<ValidateCommand>();
  command->add_option("MODULE", options->module, "The module's library")->type_name("SO");
  command->add_flag("--list", options->is_list, "Print the tests and what each holds, run none");
  command
      ->add_option("--only", options->patterns,
                   "Only tests with such a name, or in a group of that name; with * and ? as in a "
                   "shell; may be repeated")
      ->type_name("PATTERN")
      ->allow_extra_args(false)  // what follows a pattern is MODULE
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_flag("--verbose", options->is_verbose, "A line for tests that hold, too");
  command->add_option("--format", options->format, "text, or json: one object a line")
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
  AddJobsOption(*command, options->jobs, "Tests that run");
  AddPatienceOption(*command, options->patience);
  command->footer(
      "Each test runs in a process of its own.\n"
      "Exit code: 0 all tests held, 1 one did not, 2 bad usage or no module.");
  command->callback([options, &exit_code] { exit_code = Validate(*options); });
}

}  // namespace brelmo::tavi::tools
