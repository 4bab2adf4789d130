#include "stress/found_scenario.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>
#include <vector>

#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

// As a shell takes it for one word.
std::string ShellWord(const std::string& text) {
  const auto is_plain = [](unsigned char c) {
    return std::isalnum(c) != 0 || std::strchr("/._-+:,=@%", c) != nullptr;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), is_plain)) return text;
  // What no terminal should get has escapes, which take the shell's other quotes.
  const bool has_escapes = Printable(text) != text;
  std::string quoted;
  for (const char c : text) {
    if (has_escapes) {
      quoted += (c == '\'' || c == '\\' ? "\\" : "") + std::string(1, c);
    } else {
      quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
  }
  return has_escapes ? "$'" + Printable(quoted) + "'" : "'" + quoted + "'";
}

}  // namespace

void PutScenario(OutputFolder& output, const StressSetup& setup, const ShortEpisode& found,
                 const std::string& origin, bool does_fail) {
  std::string text = "# Found by " + origin + ":\n";
  std::istringstream failure(found.failure.text);
  for (std::string line; std::getline(failure, line);) text += "# " + Printable(line) + "\n";
  text += ScenarioText(found.episode);
  std::vector<std::pair<std::string, std::string>> files = {
      {"device.conf", found.episode.Config() + "\n"}, {"stress.scenario", text}};
  for (const auto& [name, content] : found.episode.files)
    files.emplace_back("etc/" + name, content);
  for (const auto& [name, content] : files) output.Add(name, content);
  try {
    output.Commit();
  } catch (const InputError& error) {
    std::printf("  %s; what was to be stored:\n", Printable(error.what()).c_str());
    for (const auto& [name, content] : files) {
      std::printf("--- %s\n%s", name.c_str(), content.c_str());
    }
    return;
  }
  const std::filesystem::path folder = output.name();
  std::printf("shrunk to %s and %s, which", Count(found.episode.event_count(), "event").c_str(),
              Count(found.episode.cases.size(), "case").c_str());
  std::printf("%s",
              does_fail ? " fail in a run, too:\n"
              : found.is_serial
                  ? " do not fail in a run: it does not look at what was found:\n"
                  : " do not fail in a run: that plays one event after the other, and these fail "
                    "at the same time:\n");
  std::printf("  tavi run --module %s --config %s --data-root %s --scenario %s\n",
              ShellWord(setup.module).c_str(), ShellWord((folder / "device.conf").string()).c_str(),
              ShellWord((folder / "etc").string()).c_str(),
              ShellWord((folder / "stress.scenario").string()).c_str());
}

}  // namespace brelmo::tavi::tools
