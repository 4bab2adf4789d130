// DSP messages in words.
#pragma once

#include <string>
#include <vector>

#include "dsp_message.h"

namespace brelmo::tavi::tools {

// "left (type 16), 257 bins", "status (type 0): active".
std::string DescribeMessage(const simulator::DspMessage& message);
// "a.txt or b.txt": what CaseLookup::FilesOf found.
std::string DescribeFiles(const std::vector<std::string>& files);

}  // namespace brelmo::tavi::tools
