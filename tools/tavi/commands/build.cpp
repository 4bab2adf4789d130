// tavi build: from one source to everything that a device needs.
#include <memory>

#include "build/build.h"
#include "commands/commands.h"
#include "commands/config_options.h"

namespace brelmo::tavi::tools {

void AddBuildCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "build", "Make a configuration, its data files and their page from one source");
  const auto options = std::make_shared<BuildOptions>();
  subcommand->add_option("PROJECT", options->source, "The source, in TOML")
      ->type_name("FILE")
      ->required();
  subcommand
      ->add_option("-o,--output", options->folder, "The folder to write; it changes as a whole")
      ->type_name("DIR")
      ->required();
  subcommand->add_flag("--check", options->is_check,
                       "Write nothing; say whether the folder is what the source makes");
  subcommand
      ->add_option("--product-lines", options->product_lines,
                   "Write the copy lines for a vendor tree's makefile, too")
      ->type_name("FILE");
  subcommand->add_flag("--strict", options->is_strict, "Warnings count as errors do");
  AddForceOption(*subcommand, options->is_forced);
  subcommand->footer(
      "Exit code: 0 the folder is written, or with --check is what the source makes, 1 it is not: "
      "errors were found (with --strict, also warnings), 2 bad usage, or a file that can be "
      "neither "
      "read nor written.");
  subcommand->callback(
      [options, &exit_code] { exit_code = Build(*options) ? kExitAsExpected : kExitBroken; });
}

}  // namespace brelmo::tavi::tools
