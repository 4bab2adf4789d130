#include "command.h"

#include <sys/wait.h>

#include <cstdlib>

#include <fstream>
#include <iterator>
#include <sstream>

namespace brelmo::tavi::test {

namespace {

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (const char character : word) {
    quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return quoted + "'";
}

// A sanitizer is told to leave alone what a release build would die of.
std::string Command(const Strings& arguments, const std::string& program = TAVI_COMMAND_FILE) {
  std::string command;
  for (const char* const name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
    command += std::string(name) + "=handle_segv=0 ";
  }
  command += Quoted(program);
  for (const std::string& argument : arguments) command += " " + Quoted(argument);
  return command;
}

Outcome RunInShell(const std::string& command, const std::string& input,
                   const std::string& redirection) {
  const tools::ScratchFolder folder;
  folder.Write("in", input);
  const std::string line =
      "cd " + Quoted(folder.path()) + " && cat in | " + command + " >out 2>err " + redirection;
  const int status = std::system(line.c_str());
  return {WEXITSTATUS(status), ReadFile(folder.path("out")), ReadFile(folder.path("err"))};
}

}  // namespace

Outcome RunTavi(const Strings& arguments, const std::string& input, const std::string& redirection,
                const std::string& before, const std::string& program) {
  const bool is_list = !before.empty() && before.back() == ';';
  // Standard error first: what comes before may close or limit much.
  return RunInShell(
      (is_list ? "{ " : "") + before + " " + Command(arguments, program) + (is_list ? "; }" : ""),
      input, redirection);
}

Outcome RunAtTerminal(const std::string& environment, const Strings& arguments,
                      const std::string& keys, const std::string& redirection) {
  const std::string command = environment + " " + Command(arguments) + " " + redirection;
  return RunInShell("SHELL=/bin/sh script -qec " + Quoted(command) + " /dev/null", keys, "");
}

std::string ReadFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

Strings Lines(const std::string& text) {
  Strings lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<nlohmann::json> Outcome::Json() const {
  std::vector<nlohmann::json> objects;
  for (const std::string& line : Lines(out)) {
    nlohmann::json object = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    EXPECT_TRUE(object.is_object()) << line;
    if (object.is_object()) objects.push_back(std::move(object));
  }
  return objects;
}

Strings Outcome::Texts(const std::string& kind) const {
  Strings texts;
  for (const auto& object : Json()) {
    if (object["kind"] == kind) texts.push_back(object["text"]);
  }
  return texts;
}

CommandTest::CommandTest() {
  folder_.Write("device.conf",
                "HingeAngle:0,60|LeftChannel:a.txt|RightChannel:b.txt "
                "HingeAngle:61,120|LeftChannel:a.txt|RightChannel:b.txt "
                "HingeAngle:121,180|LeftChannel:c.txt|RightChannel:gone.txt\n");
  folder_.Write("etc/a.txt", "1,0\n0.5,0\n");
  folder_.Write("etc/b.txt", "0.25,0\n2,0\n");
  folder_.Write("etc/c.txt", "4,0\n");
}

Strings CommandTest::Arguments(const Strings& more) const {
  Strings arguments = {"run", "--config", folder_.path("device.conf"), "--data-root",
                       folder_.path("etc")};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

}  // namespace brelmo::tavi::test
