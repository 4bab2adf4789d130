#include "console/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "console/wording.h"

namespace brelmo::tavi::tools {

void OpenStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) continue;
    // For the other direction; it takes the lowest number, which is this one.
    open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

bool IsColourWanted() {
  const char* const no_color = std::getenv("NO_COLOR");  // by convention, empty is unset
  return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
}

size_t TerminalColumns() {
  winsize size = {};
  if (isatty(STDOUT_FILENO) == 0 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

void Print(bool is_colour, const char* colour, const std::string& text) {
  const std::string shown = PrintableLines(text);
  if (is_colour && *colour != '\0') {
    std::printf("%s%s\033[0m", colour, shown.c_str());
  } else {
    std::printf("%s", shown.c_str());
  }
}

}  // namespace brelmo::tavi::tools
