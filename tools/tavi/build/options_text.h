// The options in force of a channel, on one line.
#pragma once

#include <string>

#include "build/project.h"

namespace brelmo::tavi::tools {

std::string OptionsText(const ChannelSource& channel);

}  // namespace brelmo::tavi::tools
