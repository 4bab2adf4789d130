// Where a command takes its configuration text and its other inputs from.
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "console/input.h"
#include "data_folder.h"

namespace brelmo::tavi::tools {

// For an option that takes a number from `low` to `high`, as `unit`.
CLI::Validator NumberWithin(double low, double high, const std::string& unit);
// The option --max-gain.
void AddMaxGainOption(CLI::App& command, double& max_gain_db);

// The options --config, --config-text and --data-root, shared by all commands that need them.
class ConfigSource {
 public:
  // `is_required`: the command cannot do without a configuration.
  void AddTo(CLI::App& command, bool is_required);

  bool is_given() const { return file_ || text_; }
  // The text as the host would hand it over: of a file without one final line feed. Throws
  // InputError.
  std::string Text() const;
  // What to call the text in messages: the file's name or "configuration".
  std::string Name() const { return file_.value_or("configuration"); }
  // The data folder that was asked for; empty for the device's own.
  std::string data_root() const { return data_root_.value_or(""); }
  // Puts the data folder that was asked for in force, for as long as the result lives. Throws
  // InputError when it is no folder.
  std::optional<simulator::DataFolder> UseDataFolder() const;

 private:
  std::optional<std::string> file_;
  std::optional<std::string> text_;
  std::optional<std::string> data_root_;
};

}  // namespace brelmo::tavi::tools
