// Where a command takes its configuration text and its other inputs from.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "check/check_config.h"
#include "console/output.h"
#include "data_folder.h"
#include "response/design.h"

namespace brelmo::tavi::tools {

// For an option that takes a number from `low` to `high`, as `unit`.
CLI::Validator NumberWithin(double low, double high, const std::string& unit);
CLI::Validator NumberWithin(Bounds bounds, const std::string& unit);
// For an option that takes a folder: an empty name, as of a variable that is not set, is none.
CLI::Validator NamedFolder();
// For an option that takes a whole number: the zeros in front would make an octal number of it.
std::string WithoutLeadingZeros(const std::string& text);
// The options --rate and of the limits beyond which a check says something.
void AddLimitOptions(CLI::App& command, CheckOptions& check);
// The option --force.
void AddForceOption(CLI::App& command, bool& is_forced);
// The option --format of commands that write text for people or "json: `what`" for programs.
void AddFormatOption(CLI::App& command, std::string& format, const std::string& what);

// The option --old-root.
CLI::Option* AddOldRootOption(CLI::App& command, std::string& data_root);
// The options --against and --old-root. `what` becomes of the old tuning. Returns --against.
CLI::Option* AddAgainstOptions(CLI::App& command, std::string& path, std::string& data_root,
                               const std::string& what);

// On standard error, on a machine that is no device.
void WarnOfNoDeviceFolder();

// The options --config, --config-text and --data-root, shared by all commands that need one
// configuration.
class ConfigSource {
 public:
  // `is_required`: the command cannot do without a configuration.
  void AddTo(CLI::App& command, bool is_required);

  bool is_given() const { return file_ || text_; }
  // See HostText.
  std::string Text() const { return TextOf(Content()); }
  // The same in two steps: the bytes as they stand, and the text of them.
  std::string Content() const;
  std::string TextOf(std::string content) const;
  // What to call the text in messages: the file's name or "configuration".
  std::string Name() const { return file_.value_or("configuration"); }
  // The data folder that was asked for; empty for the device's own.
  const std::string& data_root() const { return data_root_; }
  // What is read because of these options, the data files that `text` names included: no output may
  // take its place.
  std::vector<InputFile> Inputs(const std::string& text) const;
  // See tools::RequireFiniteDataFiles.
  void RequireFiniteDataFiles(const std::string& text) const;
  // Puts the data folder that was asked for in force, for as long as the result lives. Throws
  // InputError when it is no folder.
  std::optional<simulator::DataFolder> UseDataFolder() const;

 private:
  std::optional<std::string> file_;
  std::optional<std::string> text_;
  std::string data_root_;
};

}  // namespace brelmo::tavi::tools
