// tavi: the workstation side of the compensation module.
#include <cstdio>

#include <exception>

#include <CLI/CLI.hpp>

#include "commands.h"
#include "config_source.h"

int main(int argc, char** argv) {
  using namespace brelmo::tavi::tools;
  CLI::App program(
      "The telephony speaker compensation module at a desk: a simulated host and "
      "device for the real library.",
      "tavi");
  program.require_subcommand(1);
  program.set_version_flag("--version", "tavi " TAVI_VERSION);
  int exit_code = kExitAsExpected;
  AddRunCommand(program, exit_code);
  AddDecodeCommand(program, exit_code);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kExitAsExpected : kExitUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavi: %s\n", error.what());
    return kExitUsage;
  }
  return exit_code;
}
