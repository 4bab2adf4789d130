// What is wrong with a command line, in words that name the cure.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace brelmo::tavi::tools {

// `program` has just failed to parse with `error`.
std::string ExplainUsageError(const CLI::App& program, const CLI::ParseError& error);

}  // namespace brelmo::tavi::tools
