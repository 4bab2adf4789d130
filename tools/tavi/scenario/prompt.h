// Lines that a person types at a terminal: with editing, history and completion of steps.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace brelmo::tavi::tools {

class Prompt {
 public:
  // Whether the terminal, by its name, is one to edit lines at.
  static bool IsPossible();
  // `terminal`: a descriptor that is one, to read and write; it is duplicated. What the terminal is
  // to show goes through `show`, in order with all else that is shown. None where the terminal
  // cannot be used so.
  static std::unique_ptr<Prompt> Open(int terminal,
                                      std::function<void(const std::string& text)> show);
  Prompt(const Prompt&) = delete;
  Prompt& operator=(const Prompt&) = delete;
  ~Prompt();

  // The next line, without its line feed. Ctrl-C clears what is typed; with nothing typed it is the
  // end, as Ctrl-D is: false.
  bool Next(std::string& line);

 private:
  struct Editor;

  explicit Prompt(std::unique_ptr<Editor> editor);

  std::unique_ptr<Editor> editor_;
};

}  // namespace brelmo::tavi::tools
