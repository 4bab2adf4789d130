// tavi: the workstation side of the compensation module.
#include <cstdio>

#include <exception>

#include <CLI/CLI.hpp>

#include "commands/commands.h"
#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

int Main(int argc, char** argv) {
  CLI::App program(
      "The telephony speaker compensation module at a desk: a simulated host and "
      "device for the real library.",
      "tavi");
  program.require_subcommand(1);
  program.set_version_flag("--version", "tavi " TAVI_VERSION);
  int exit_code = kExitAsExpected;
  AddRunCommand(program, exit_code);
  AddDecodeCommand(program, exit_code);
  AddCheckCommand(program, exit_code);
  AddDesignCommand(program, exit_code);
  AddImportCommand(program, exit_code);
  AddReportCommand(program, exit_code);
  AddValidateCommand(program, exit_code);
  AddStressCommand(program, exit_code);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kExitAsExpected : kExitUsage;
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw InputError("standard output: could not be written in full");
  }
  return exit_code;
}

}  // namespace

}  // namespace brelmo::tavi::tools

int main(int argc, char** argv) {
  try {
    return brelmo::tavi::tools::Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavi: %s\n", brelmo::tavi::tools::Printable(error.what()).c_str());
  } catch (...) {
    std::fprintf(stderr, "tavi: failed for an unknown reason\n");
  }
  return brelmo::tavi::tools::kExitUsage;
}
