// Standard output and its colours, for people at a terminal.
#pragma once

#include <cstddef>
#include <string>

namespace brelmo::tavi::tools {

namespace colour {

constexpr const char* kPlain = "";
constexpr const char* kBold = "\033[1m";
constexpr const char* kDim = "\033[2m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kGreen = "\033[32m";
constexpr const char* kYellow = "\033[33m";
constexpr const char* kCyan = "\033[36m";
constexpr const char* kEnd = "\033[0m";  // behind any of them

}  // namespace colour

// Opens those of the descriptors 0 to 2 that are closed, so that no file that is opened later gets
// one of them and with it what is meant for the terminal. Using one fails as before. Call it first.
void OpenStandardDescriptors();

// Whether standard output is a terminal, and its user wants colours (NO_COLOR is unset).
bool IsColourWanted();

// The width of the terminal on standard output in columns; 0 when that is a file or a pipe.
size_t TerminalColumns();

// Writes to standard output. Of `text`, line feeds stay and everything else that is not printable
// becomes an escape: all text for people goes through here, or through Printable.
void Print(bool is_colour, const char* colour, const std::string& text);

}  // namespace brelmo::tavi::tools
