// tavi diagnose: what logs, dumps and captures of a device tell.
#include <memory>
#include <string>

#include "commands/candidate_options.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "diagnose/diagnose_files.h"

namespace brelmo::tavi::tools {

void AddDiagnoseCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "diagnose",
      "Say from a log, a dump or a capture of a device what happened and what was wrong");
  const auto options = std::make_shared<DiagnoseOptions>();
  const auto candidates = std::make_shared<CandidateOptions>();
  command
      ->add_option("files", options->files,
                   "Logs, dumps and captures, told by their content; a file may hold several")
      ->required()
      ->type_name("FILE");
  candidates->AddTo(*command);
  command
      ->add_option("--scenario", options->scenario,
                   "Write what happened as a scenario for `tavi run`")
      ->type_name("FILE");
  command
      ->add_option("--write-config", options->write_config,
                   "Write the configuration that a dump gives, for `tavi check`")
      ->type_name("FILE");
  AddFormatOption(*command, options->format, "one object");
  AddForceOption(*command, options->is_forced);
  command->footer(
      "Exit code: 0 nothing wrong was found, 1 something, 2 the material could not be used.");
  command->callback([options, candidates, &exit_code] {
    options->candidates = candidates->Read();
    options->inputs = candidates->Inputs(options->candidates);
    exit_code = DiagnoseFiles(*options);
  });
}

}  // namespace brelmo::tavi::tools
