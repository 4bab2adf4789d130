// tavi decode: prints a capture of what was written to the DSP.
#include <cmath>
#include <cstdio>

#include <algorithm>
#include <limits>
#include <memory>

#include <nlohmann/json.hpp>

#include "capture/case_lookup.h"
#include "capture/message_text.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "dsp_message.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::DspMessage;
using Json = nlohmann::ordered_json;

struct DecodeOptions {
  ConfigSource config;
  std::string capture;
  std::string format = "text";
};

// The least and the greatest magnitude of a response in dB; a bin that is no number makes it so.
std::string DescribeMagnitude(const DspMessage& message) {
  const std::vector<float> response = message.Response();
  double least = std::numeric_limits<double>::infinity();
  double greatest = -least;
  for (size_t i = 0; i + 1 < response.size(); i += 2) {
    const double magnitude = 20 * std::log10(std::hypot(response[i], response[i + 1]));
    if (std::isnan(magnitude)) {
      return "bin " + std::to_string(i / 2) + " is not a number";
    }
    least = std::min(least, magnitude);
    greatest = std::max(greatest, magnitude);
  }
  char text[80];
  std::snprintf(text, sizeof(text), "%.1f to %.1f dB", least, greatest);
  return text;
}

void PrintText(const DspMessage& message, const CaseTable* cases) {
  std::string text = "offset " + std::to_string(message.offset) + "  " + DescribeMessage(message);
  if (message.is_response()) {
    text += ", " + DescribeMagnitude(message);
    if (cases != nullptr) {
      const auto files = cases->FilesOf(message);
      text += ", " + (files.empty() ? "no file of this configuration" : DescribeFiles(files));
    }
  }
  std::printf("%s\n", text.c_str());
}

void PrintJson(const DspMessage& message, const CaseTable* cases) {
  Json object = {{"kind", "message"},
                 {"offset", message.offset},
                 {"type", message.type},
                 {"payload_bytes", message.payload.size()}};
  if (message.is_response()) {
    object["bins"] = message.bin_count();
    if (cases != nullptr) object["files"] = cases->FilesOf(message);
  } else {
    object["active"] = message.is_active();
  }
  std::printf("%s\n", object.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

int Decode(const DecodeOptions& options) {
  const std::string bytes = ReadFile(options.capture);
  const auto data_folder = options.config.UseDataFolder();
  std::unique_ptr<CaseTable> cases;
  if (options.config.is_given()) cases = std::make_unique<CaseTable>(options.config.Text());
  const simulator::DspMessages parsed = simulator::ParseDspMessages(
      reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  for (const DspMessage& message : parsed.messages) {
    if (options.format == "json") {
      PrintJson(message, cases.get());
    } else {
      PrintText(message, cases.get());
    }
  }
  if (parsed.damage) {
    throw InputError(options.capture + ": makes no sense from offset " +
                     std::to_string(parsed.damage->offset) + " on: " + parsed.damage->reason +
                     "; what follows is not decoded");
  }
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
  command->add_option("--format", options->format, "text, or json: one object a line")
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
  command->footer("With a configuration, responses are named after their data files.");
  command->callback([options, &exit_code] { exit_code = Decode(*options); });
}

}  // namespace brelmo::tavi::tools
