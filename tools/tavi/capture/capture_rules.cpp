#include "capture/capture_rules.h"

#include <utility>

#include "capture/capture_file.h"
#include "dsp_message.h"

namespace brelmo::tavi::tools {

bool IsCapture(std::string_view beginning) {
  if (LooksLikePcapng(beginning)) return true;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(beginning.data());
  return !simulator::ParseDspMessages(bytes, beginning.size()).messages.empty();
}

OutputRules CaptureRules(std::vector<InputFile> inputs, bool is_forced) {
  return {std::move(inputs), "a capture", IsCapture, is_forced};
}

}  // namespace brelmo::tavi::tools
