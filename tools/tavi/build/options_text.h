// Options as the source writes them.
#pragma once

#include <string>

#include "build/project.h"

namespace brelmo::tavi::tools {

// Those in force of a channel, on one line.
std::string OptionsText(const PostureSource& posture, size_t channel);

// What another command says of its options, in keys: max_boost for --max-boost.
std::string InKeys(const std::string& text);

}  // namespace brelmo::tavi::tools
