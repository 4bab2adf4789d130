#include "commands/config_options.h"

#include <cstdio>
#include <filesystem>
#include <utility>

#include "check/tuning_files.h"
#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

CLI::Validator NumberWithin(double low, double high, const std::string& unit) {
  return CLI::Validator(
      [low, high, unit](const std::string& text) {
        double value = 0.0;
        // False for a NaN.
        const bool is_within =
            CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
        if (is_within) return std::string();
        return Quote(text) + " is to be a number of " + unit +
               Format(" from %.0f to %.0f", low, high);
      },
      "");
}

CLI::Validator NumberWithin(Bounds bounds, const std::string& unit) {
  return NumberWithin(bounds.low, bounds.high, unit);
}

CLI::Validator NamedFolder() {
  return CLI::Validator(
      [](const std::string& name) {
        return name.empty() ? "\"\" names no folder; name one, or leave the option out"
                            : std::string();
      },
      "");
}

std::string WithoutLeadingZeros(const std::string& text) {
  const size_t at = text.find_first_not_of('0');
  const bool is_number = at != std::string::npos && text[at] >= '0' && text[at] <= '9';
  return is_number ? text.substr(at) : text;
}

void AddLimitOptions(CLI::App& command, CheckOptions& check) {
  const auto add = [&command](const std::string& name, double& value, const std::string& what,
                              const CLI::Validator& is_allowed, const std::string& unit) {
    command.add_option(name, value, what)->check(is_allowed)->type_name(unit);
  };
  FilterLimits& filter = check.filter;
  add("--rate", filter.rate, "Sampling rate at which the DSP works; default: 48000",
      NumberWithin(1.0, 1e7, "Hz"), "HZ");
  const CLI::Validator any_level = NumberWithin(-1000.0, 1000.0, "dB");
  const CLI::Validator share = NumberWithin(-1000.0, 0.0, "dB");
  const CLI::Validator distance = NumberWithin(0.0, 1000.0, "dB");
  add("--max-gain", check.max_gain_db, "Bins above this many dB are warned of; default: 12",
      any_level, "DB");
  add("--max-late", filter.late_energy_db,
      "Filters with more of their energy outside of the first 257 taps are warned of; default: -30",
      share, "DB");
  add("--max-early", filter.early_energy_db,
      "Filters with more of their energy earlier than 1 ms before the peak are warned of; "
      "default: -30",
      share, "DB");
  add("--max-step", filter.step_db,
      "Neighbouring bins that differ by more, 300 to 8000 Hz, are warned of; default: 12", distance,
      "DB");
  add("--max-delay", filter.delay_ms,
      "Left and right of a case that are further apart are noted; default: 1",
      NumberWithin(0.0, 1000.0, "ms"), "MS");
  add("--max-jump", filter.level_db,
      "Adjoining cases whose levels of speech differ by more are noted; default: 6", distance,
      "DB");
}

void AddForceOption(CLI::App& command, bool& is_forced) {
  command.add_flag("--force", is_forced,
                   "Replace what exists though tavi did not make it; an input, never");
}

void AddFormatOption(CLI::App& command, std::string& format, const std::string& what) {
  command.add_option("--format", format, "text, or json: " + what)
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
}

CLI::Option* AddOldRootOption(CLI::App& command, std::string& data_root) {
  return command
      .add_option("--old-root", data_root,
                  "Folder of the old configuration's data files; default: etc in a folder, else "
                  "/vendor/etc")
      ->check(NamedFolder())
      ->type_name("DIR");
}

CLI::Option* AddAgainstOptions(CLI::App& command, std::string& path, std::string& data_root,
                               const std::string& what) {
  auto* const against =
      command
          .add_option("--against", path,
                      "An older configuration, or a folder of tavi build: " + what)
          ->type_name("FILE");
  AddOldRootOption(command, data_root)->needs(against);
  return against;
}

void WarnOfNoDeviceFolder() {
  std::error_code error;
  if (std::filesystem::is_directory(simulator::DataFolder::kDevicePath, error)) return;
  std::fprintf(stderr,
               "tavi: this machine has no %s, where the module looks for data files; name their "
               "folder with --data-root\n",
               simulator::DataFolder::kDevicePath);
}

void ConfigSource::AddTo(CLI::App& command, bool is_required) {
  auto* const group = command.add_option_group("Configuration");
  group->add_option("--config", file_, "File with the configuration text")->type_name("FILE");
  group->add_option("--config-text", text_, "The configuration text itself")->type_name("TEXT");
  if (is_required) {
    group->require_option(1);
  } else {
    group->require_option(0, 1);
  }
  command
      .add_option("--data-root", data_root_,
                  "Folder that takes the place of the module's data folder, /vendor/etc")
      ->check(NamedFolder())
      ->type_name("DIR");
}

std::string ConfigSource::Content() const { return file_ ? ReadFile(*file_) : text_.value_or(""); }

std::string ConfigSource::TextOf(std::string content) const {
  return file_ ? HostText(*file_, std::move(content)) : content;
}

std::vector<InputFile> ConfigSource::Inputs(const std::string& text) const {
  std::vector<InputFile> inputs = DataFileInputs(text, data_root(), "the configuration");
  if (file_) inputs.insert(inputs.begin(), {*file_, "the configuration"});
  return inputs;
}

void ConfigSource::RequireFiniteDataFiles(const std::string& text) const {
  tools::RequireFiniteDataFiles(text, data_root());
}

std::optional<simulator::DataFolder> ConfigSource::UseDataFolder() const {
  if (data_root().empty() && is_given()) WarnOfNoDeviceFolder();
  return tools::UseDataFolder(data_root());
}

}  // namespace brelmo::tavi::tools
