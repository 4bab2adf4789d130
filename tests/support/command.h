// Runs the tavi command as a user does, in a process of its own.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "process/scratch_folder.h"

namespace brelmo::tavi::test {

using Strings = std::vector<std::string>;

struct Outcome {
  int exit_code = 0;  // as the shell has it
  std::string out;
  std::string err;

  // Standard output as JSON. A line of another kind fails the test.
  std::vector<nlohmann::json> Json() const;
  // The texts of the JSON objects of one kind.
  Strings Texts(const std::string& kind) const;
};

// `input` comes through a pipe. `redirection` is the shell's, and so is `before`, in front of the
// command: variables, or whole commands with their ";".
Outcome RunTavi(const Strings& arguments, const std::string& input = "",
                const std::string& redirection = "", const std::string& before = "",
                const std::string& program = TAVI_COMMAND_FILE);

// At a terminal, with the keys typed. Standard error appears there too, unless redirected.
Outcome RunAtTerminal(const std::string& environment, const Strings& arguments,
                      const std::string& keys, const std::string& redirection = "");

std::string ReadFile(const std::string& path);
Strings Lines(const std::string& text);

// A configuration of three cases over the hinge angle. The first two play the same files.
class CommandTest : public testing::Test {
 protected:
  CommandTest();

  // The arguments for a run of the configuration, and more.
  Strings Arguments(const Strings& more) const;
  // Runs it with the steps on standard input.
  Outcome Run(const Strings& more, const std::string& steps) const {
    return RunTavi(Arguments(more), steps);
  }

  tools::ScratchFolder folder_;
};

}  // namespace brelmo::tavi::test
