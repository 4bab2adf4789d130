#include "commands/usage_error.h"

#include <algorithm>
#include <vector>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

std::vector<std::string> CommandNames(const CLI::App& program) {
  std::vector<std::string> names;
  const auto is_named = [](const CLI::App* command) { return !command->get_name().empty(); };
  for (const CLI::App* const command : program.get_subcommands(is_named)) {
    names.push_back(command->get_name());
  }
  return names;
}

// "--config", ..., those of the command's groups included.
std::vector<std::string> OptionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  for (const CLI::App* const group : command.get_subcommands(nullptr)) {
    for (const std::string& name : OptionNames(*group)) names.push_back(name);
  }
  return names;
}

bool TakesConfiguration(const CLI::App& command) {
  const std::vector<std::string> names = OptionNames(command);
  return std::find(names.begin(), names.end(), "--config") != names.end();
}

// What the command cannot do with a word that it did not expect.
std::string ExplainWord(const CLI::App& command, const std::string& word) {
  const std::string& name = command.get_name();
  if (word.substr(0, 1) == "-") {
    const std::string option = word.substr(0, word.find('='));
    const std::string nearest = NearestName(option, OptionNames(command));
    return name + ": there is no option " + Quote(option) +
           (IsMisspelt(option, nearest) ? "; did you mean " + nearest + "?" : "");
  }
  if (TakesConfiguration(command)) {
    return name + ": " + Quote(word) +
           " stands by itself; a configuration is named with --config: tavi " + name +
           " --config " + Printable(word);
  }
  return name + ": " + Quote(word) + " is one argument too many";
}

}  // namespace

std::string ExplainUsageError(const CLI::App& program, const CLI::ParseError& error) {
  const auto commands = program.get_subcommands();
  const std::string help = "\nRun with --help for more information.";
  if (commands.empty()) {
    const std::vector<std::string> words = program.remaining();
    if (words.empty()) {
      return "a command is needed: " + Enumerate(CommandNames(program)) + help;
    }
    if (words.front().substr(0, 1) == "-") return ExplainWord(program, words.front()) + help;
    const std::string nearest = NearestName(words.front(), CommandNames(program));
    return Quote(words.front()) + " is no command" +
           (IsMisspelt(words.front(), nearest)
                ? "; did you mean " + nearest + "?"
                : "; there are " + Enumerate(CommandNames(program))) +
           help;
  }
  const CLI::App& command = *commands.front();
  if (const std::vector<std::string> words = command.remaining(); !words.empty()) {
    return ExplainWord(command, words.front()) + help;
  }
  return command.get_name() + ": " + error.what() + help;
}

}  // namespace brelmo::tavi::tools
