// tavi decode: prints a capture of what was written to the DSP.
#include <memory>
#include <string>

#include "capture/capture_listing.h"
#include "commands/commands.h"
#include "commands/config_options.h"

namespace brelmo::tavi::tools {

namespace {

struct DecodeOptions {
  ConfigSource config;
  std::string capture;
  std::string format = "text";
};

int Decode(const DecodeOptions& options) {
  const std::string text = options.config.Text();
  options.config.RequireFiniteDataFiles(text);
  const auto data_folder = options.config.UseDataFolder();
  std::unique_ptr<CaseTable> cases;
  if (options.config.is_given()) cases = std::make_unique<CaseTable>(text);
  PutCapture(options.capture, cases.get(), options.format == "json");
  return kExitAsExpected;
}

}  // namespace

void AddDecodeCommand(CLI::App& program, int& exit_code) {
  auto* const command =
      program.add_subcommand("decode", "Print a capture of writes to the DSP, message by message");
  const auto options = std::make_shared<DecodeOptions>();
  command->add_option("capture", options->capture, "File that `tavi run --capture` wrote")
      ->required()
      ->type_name("FILE");
  options->config.AddTo(*command, /*is_required=*/false);
  AddFormatOption(*command, options->format, "one object a line");
  command->footer("With a configuration, responses are named after their data files.");
  command->callback([options, &exit_code] { exit_code = Decode(*options); });
}

}  // namespace brelmo::tavi::tools
