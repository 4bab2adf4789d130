// tavi diagnose: what logs, dumps and captures of a device tell.
#include <cstdio>

#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "console/input.h"
#include "console/terminal.h"
#include "diagnose/diagnose_files.h"

namespace brelmo::tavi::tools {

void AddDiagnoseCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "diagnose",
      "Say from a log, a dump or a capture of a device what happened and what was wrong");
  const auto options = std::make_shared<DiagnoseOptions>();
  command
      ->add_option("files", options->files,
                   "Logs, dumps and captures, told by their content; a file may hold several")
      ->required()
      ->type_name("FILE");
  command
      ->add_option("--config", options->configs,
                   "File with a configuration that the device may have had; may be repeated")
      ->type_name("FILE");
  command
      ->add_option("--config-text", options->config_texts,
                   "The text of one; may be repeated, and comes behind the files")
      ->type_name("TEXT");
  command
      ->add_option("--data-root", options->data_roots,
                   "Folder with the data files: one for all configurations, or one for each in "
                   "their order")
      ->type_name("DIR");
  command
      ->add_option("--scenario", options->scenario,
                   "Write what happened as a scenario for `tavi run`")
      ->type_name("FILE");
  command
      ->add_option("--write-config", options->write_config,
                   "Write the configuration that a dump gives, for `tavi check`")
      ->type_name("FILE");
  command->add_option("--format", options->format, "text, or json: one object")
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
  for (const char* const name : {"--config", "--config-text", "--data-root"}) {
    command->get_option(name)->allow_extra_args(false)->take_all();
  }
  command->footer(
      "Exit code: 0 nothing wrong was found, 1 something, 2 the material could not be used.");
  command->callback([options, &exit_code] { exit_code = DiagnoseFiles(*options); });
}

}  // namespace brelmo::tavi::tools
