// tavi decode: prints a capture of what was written to the DSP.
#include <memory>
#include <string>

#include "commands/candidate_options.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "diagnose/delivery_listing.h"

namespace brelmo::tavi::tools {

void AddDecodeCommand(CLI::App& program, int& exit_code) {
  auto* const command =
      program.add_subcommand("decode", "Print a capture of writes to the DSP, a line a delivery");
  const auto options = std::make_shared<DecodeOptions>();
  const auto candidates = std::make_shared<CandidateOptions>();
  command
      ->add_option("capture", options->capture,
                   "File that `tavi run --capture` wrote, or a host: bytes or pcapng")
      ->required()
      ->type_name("FILE");
  candidates->AddTo(*command);
  command
      ->add_option("--extract", options->extract,
                   "Write each response once, as a data file, into this folder")
      ->type_name("DIR");
  AddForceOption(*command, options->is_forced);
  AddFormatOption(*command, options->format, "one object a message, a line each");
  command->footer(
      "With configurations, deliveries are named after their cases, and responses after their "
      "data files.");
  command->callback([options, candidates, &exit_code] {
    options->candidates = candidates->Read();
    options->inputs = candidates->Inputs(options->candidates);
    ListDeliveries(*options);
    exit_code = kExitAsExpected;
  });
}

}  // namespace brelmo::tavi::tools
