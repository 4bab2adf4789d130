#include "scenario/prompt.h"

#include <fcntl.h>
#include <histedit.h>
#include <unistd.h>

#include <cstdlib>

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kProgram = "tavi";
constexpr int kMostHistory = 500;

char* Text(EditLine* /*editor*/) {
  static char text[] = "tavi> ";
  return text;
}

// What a line may go on with, by what it holds so far.
const std::vector<std::string_view>& WordsBehind(std::string_view words) {
  static const auto* const table = new std::map<std::string_view, std::vector<std::string_view>>{
      {"", {"announce", "call",  "deinit", "dsp",  "dump", "expect",  "hang",
            "help",     "hinge", "init",   "play", "quit", "raw",     "refuse",
            "rotation", "say",   "start",  "stop", "wait", "withdraw"}},
      {"hang ", {"up"}},
      {"raw ", {"common", "hinge", "usecase"}},
      {"refuse ", {"common-client", "memory", "sensor", "usecase-client"}},
      {"dsp ", {"absent", "present", "refuse", "slow"}},
      {"expect ", {"case", "init", "log", "no", "status", "write", "writes"}},
      {"expect no ", {"handle", "write"}},
  };
  static const std::vector<std::string_view> none;
  const auto at = table->find(words);
  return at != table->end() ? at->second : none;
}

unsigned char Complete(EditLine* editor, int /*key*/) {
  const LineInfo* const info = el_line(editor);
  const std::string_view typed(info->buffer, static_cast<size_t>(info->cursor - info->buffer));
  const size_t space = typed.rfind(' ');
  const size_t begin = space == std::string_view::npos ? 0 : space + 1;
  const std::string_view word = typed.substr(begin);
  std::string common;
  size_t count = 0;
  for (const std::string_view candidate : WordsBehind(typed.substr(0, begin))) {
    if (candidate.substr(0, word.size()) != word) continue;
    if (count++ == 0) common = std::string(candidate) + " ";
    const auto end =
        std::mismatch(common.begin(), common.end(), candidate.begin(), candidate.end());
    if (count > 1) common.erase(end.first, common.end());
  }
  if (count == 0 || common.size() <= word.size()) return CC_REFRESH_BEEP;
  return el_insertstr(editor, common.substr(word.size()).c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

unsigned char ClearOrEnd(EditLine* editor, int /*key*/) {
  const LineInfo* const info = el_line(editor);
  if (info->lastchar == info->buffer) return CC_EOF;
  const auto before = static_cast<int>(info->cursor - info->buffer);
  const auto behind = static_cast<int>(info->lastchar - info->cursor);
  if (before > 0) el_deletestr(editor, before);
  if (behind > 0) el_deletestr1(editor, 0, behind);
  return CC_REFRESH;
}

}  // namespace

struct Prompt::Editor {
  std::function<void(const std::string& text)> show;
  int fd = -1;
  std::FILE* input = nullptr;
  std::FILE* output = nullptr;
  EditLine* line = nullptr;
  History* history = nullptr;

  Editor() = default;
  Editor(const Editor&) = delete;
  Editor& operator=(const Editor&) = delete;
  ~Editor() {
    if (line != nullptr) el_end(line);
    if (history != nullptr) history_end(history);
    if (output != nullptr) std::fclose(output);
    if (input != nullptr) {
      std::fclose(input);
    } else if (fd >= 0) {
      close(fd);
    }
  }

  static ssize_t Write(void* editor, const char* bytes, size_t size) {
    static_cast<Editor*>(editor)->show(std::string(bytes, size));
    return static_cast<ssize_t>(size);
  }
};

Prompt::Prompt(std::unique_ptr<Editor> editor) : editor_(std::move(editor)) {}
Prompt::~Prompt() = default;

bool Prompt::IsPossible() {
  const char* const kind = std::getenv("TERM");
  return kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

std::unique_ptr<Prompt> Prompt::Open(int terminal,
                                     std::function<void(const std::string& text)> show) {
  auto editor = std::make_unique<Editor>();
  editor->show = std::move(show);
  editor->fd = fcntl(terminal, F_DUPFD_CLOEXEC, 3);
  if (editor->fd < 0) return nullptr;
  editor->input = fdopen(editor->fd, "r");
  editor->output = fopencookie(editor.get(), "w", {nullptr, Editor::Write, nullptr, nullptr});
  if (editor->input == nullptr || editor->output == nullptr) return nullptr;
  editor->line = el_init_fd(kProgram, editor->input, editor->output, editor->output, editor->fd,
                            editor->fd, editor->fd);
  editor->history = history_init();
  if (editor->line == nullptr || editor->history == nullptr) return nullptr;
  HistEvent event;
  history(editor->history, &event, H_SETSIZE, kMostHistory);
  history(editor->history, &event, H_SETUNIQUE, 1);
  EditLine* const line = editor->line;
  el_set(line, EL_EDITOR, "emacs");
  el_set(line, EL_PROMPT, Text);
  el_set(line, EL_HIST, history, editor->history);
  el_set(line, EL_ADDFN, "tavi-complete", "completes a step", Complete);
  el_set(line, EL_BIND, "\t", "tavi-complete", nullptr);
  el_set(line, EL_ADDFN, "tavi-clear", "clears the line, or ends", ClearOrEnd);
  el_set(line, EL_BIND, "^C", "tavi-clear", nullptr);
  el_set(line, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  el_set(line, EL_SIGNAL, 0);
  // Ctrl-C is a key while a line is typed, and the terminal's signal while a step is played.
  el_set(line, EL_SETTY, "-d", "-isig", nullptr);
  return std::unique_ptr<Prompt>(new Prompt(std::move(editor)));
}

bool Prompt::Next(std::string& line) {
  int count = 0;
  const char* const typed = el_gets(editor_->line, &count);
  std::fflush(editor_->output);
  if (typed == nullptr || count <= 0) return false;
  line.assign(typed, static_cast<size_t>(count));
  if (!line.empty() && line.back() == '\n') line.pop_back();
  if (line.find_first_not_of(" \t") != std::string::npos) {
    HistEvent event;
    history(editor_->history, &event, H_ENTER, line.c_str());
  }
  return true;
}

}  // namespace brelmo::tavi::tools
