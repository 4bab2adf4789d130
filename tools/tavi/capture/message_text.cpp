#include "capture/message_text.h"

#include "console/wording.h"

namespace brelmo::tavi::tools {

std::string DescribeMessage(const simulator::DspMessage& message) {
  const std::string type = std::string(simulator::DspMessageTypeName(message.type)) + " (type " +
                           std::to_string(message.type) + ")";
  if (message.is_response()) return type + ", " + Count(message.bin_count(), "bin");
  return type + ": " + (message.is_active() ? "active" : "inactive");
}

std::string DescribeFiles(const std::vector<std::string>& files) {
  std::string text;
  for (const std::string& file : files) {
    if (!text.empty()) text += " or ";
    text += file.empty() ? "flat for want of a usable file" : Printable(file);
  }
  return text;
}

}  // namespace brelmo::tavi::tools
