// tavi: the workstation side of the compensation module.
#include <csignal>
#include <cstdio>

#include <exception>
#include <new>

#include <CLI/CLI.hpp>

#include "commands/commands.h"
#include "commands/usage_error.h"
#include "console/input.h"
#include "console/output.h"
#include "console/terminal.h"
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
  AddDiagnoseCommand(program, exit_code);
  AddReportCommand(program, exit_code);
  AddRenderCommand(program, exit_code);
  AddValidateCommand(program, exit_code);
  AddBuildCommand(program, exit_code);
  AddDiffCommand(program, exit_code);
  AddStressCommand(program, exit_code);
  try {
    program.parse(argc, argv);
  } catch (const CLI::Success& help) {
    program.exit(help);
  } catch (const CLI::ParseError& error) {
    throw InputError(ExplainUsageError(program, error));
  }
  FlushStandardOutput();
  return exit_code;
}

}  // namespace

}  // namespace brelmo::tavi::tools

int main(int argc, char** argv) {
  using brelmo::tavi::tools::PrintableLines;
  using brelmo::tavi::tools::Quote;
  try {
    brelmo::tavi::tools::OpenStandardDescriptors();
    std::signal(SIGXFSZ, SIG_IGN);  // writing fails instead, and says why
    return brelmo::tavi::tools::Main(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "tavi: memory is short, or its limit low (ulimit -v), for");
    for (int i = 1; i < argc; ++i) std::fprintf(stderr, " %s", Quote(argv[i]).c_str());
    std::fprintf(stderr, "\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavi: %s\n", PrintableLines(error.what()).c_str());
  } catch (...) {
    std::fprintf(stderr, "tavi: failed for an unknown reason\n");
  }
  return brelmo::tavi::tools::kExitUsage;
}
