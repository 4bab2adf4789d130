// The commands of `tavi`. Each adds itself to the program's command line; its callback leaves the
// exit code: 0 all as expected, 1 something was broken, 2 the input could not be used.
#pragma once

#include <CLI/CLI.hpp>

namespace brelmo::tavi::tools {

constexpr int kExitAsExpected = 0;
constexpr int kExitBroken = 1;
constexpr int kExitUsage = 2;

void AddBuildCommand(CLI::App& program, int& exit_code);
void AddCheckCommand(CLI::App& program, int& exit_code);
void AddDiffCommand(CLI::App& program, int& exit_code);
void AddRunCommand(CLI::App& program, int& exit_code);
void AddDecodeCommand(CLI::App& program, int& exit_code);
void AddDesignCommand(CLI::App& program, int& exit_code);
void AddImportCommand(CLI::App& program, int& exit_code);
void AddDiagnoseCommand(CLI::App& program, int& exit_code);
void AddRenderCommand(CLI::App& program, int& exit_code);
void AddReportCommand(CLI::App& program, int& exit_code);
void AddStressCommand(CLI::App& program, int& exit_code);
void AddValidateCommand(CLI::App& program, int& exit_code);

}  // namespace brelmo::tavi::tools
