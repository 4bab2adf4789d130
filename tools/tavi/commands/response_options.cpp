#include "commands/response_options.h"

#include <cmath>

#include <string>

#include "commands/config_options.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

void AddRateOption(CLI::App& command, double& rate) {
  command.add_option("--rate", rate, "Sampling rate at which the DSP works; default: 48000")
      ->check(NumberWithin(kRateBounds, "Hz"))
      ->type_name("HZ");
}

void AddRangeOption(CLI::App& command, Range& range) {
  command
      .add_option_function<std::string>(
          "--range",
          [&range](const std::string& text) {
            const size_t comma = text.find(',');
            Range read;
            const bool is_read = comma != std::string::npos &&
                                 CLI::detail::lexical_cast(text.substr(0, comma), read.from_hz) &&
                                 CLI::detail::lexical_cast(text.substr(comma + 1), read.to_hz) &&
                                 read.from_hz > 0.0 && read.from_hz < read.to_hz &&
                                 std::isfinite(read.to_hz);
            if (!is_read) {
              throw CLI::ValidationError("--range", Quote(text) +
                                                        " is to be two rising frequencies "
                                                        "in Hz, LO,HI");
            }
            range = read;
          },
          "What is corrected, in Hz; default: 300,8000")
      ->type_name("LO,HI");
}

void AddReadingOptions(CLI::App& command, ReadOptions& reading) {
  command
      .add_option("--column", reading.columns,
                  "Of text: the columns of frequency, magnitude and phase, by name or by number "
                  "from 1, with commas between; two leave the phase out")
      ->delimiter(',')
      ->type_name("NAMES");
  command
      .add_option_function<size_t>(
          "--channel", [&reading](const size_t& channel) { reading.channel = channel; },
          "Of audio: the channel, from 1")
      ->check(CLI::Range(1, 1024).description(""))
      ->transform(WithoutLeadingZeros)
      ->type_name("N");
  command
      .add_option_function<std::string>(
          "--ir-start",
          [&reading](const std::string& text) {
            size_t sample = 0;
            if (text == "auto") {
              reading.ir_start.reset();
            } else if (text.find_first_not_of("0123456789") == std::string::npos &&
                       CLI::detail::lexical_cast(WithoutLeadingZeros(text), sample)) {
              reading.ir_start = sample;
            } else {
              throw CLI::ValidationError("--ir-start",
                                         Quote(text) + " is to be auto or a sample from 0 on");
            }
          },
          "Of an impulse response: the sample that is time 0, from 0; default: auto")
      ->type_name("SAMPLE");
}

void AddCorrectionOutput(CLI::App& command, CorrectionFiles& files) {
  command.add_option("-o,--output", files.output, "The data file to write")
      ->type_name("FILE")
      ->required();
  command.add_flag("--force", files.is_forced, "Replace a file that exists");
  AddFormatOption(command, files.format, "one object");
}

}  // namespace brelmo::tavi::tools
