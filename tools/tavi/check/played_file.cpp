#include "check/played_file.h"

#include <cerrno>

#include <algorithm>
#include <limits>

#include <android-base/file.h>

#include "check/config_text.h"
#include "console/wording.h"
#include "data_folder.h"

namespace brelmo::tavi::tools {

std::string UsesOf(const DataFile& file) {
  std::vector<std::string> uses;
  if (!file.left_cases.empty()) uses.push_back("left channel of " + CaseNumbers(file.left_cases));
  if (!file.right_cases.empty()) {
    uses.push_back("right channel of " + CaseNumbers(file.right_cases));
  }
  return Enumerate(uses);
}

size_t FirstCaseOf(const DataFile& file) {
  size_t first = std::numeric_limits<size_t>::max();
  for (const auto* cases : {&file.left_cases, &file.right_cases}) {
    if (!cases->empty()) first = std::min(first, cases->front());
  }
  return first;
}

BinLines::BinLines(const std::string& name) {
  const std::string path = simulator::DataFolder::kDevicePath + name;
  errno = 0;
  if (!android::base::ReadFileToString(path, &content_, /*follow_symlinks=*/false)) {
    error_ = errno;
    return;
  }
  size_t number = 1;
  for (size_t at = 0; at < content_.size(); ++number) {
    const size_t end = std::min(content_.size(), content_.find('\n', at));
    if (end > at) bins_.push_back({number, std::string_view(content_).substr(at, end - at)});
    at = end + 1;
  }
}

void BinLines::Place(Finding& finding, size_t bin, std::optional<size_t> part) const {
  if (bin >= bins_.size()) return;
  const Line& line = bins_[bin];
  Span place = {0, line.text.size()};
  if (part) {
    const std::vector<Span> fields = Pieces(line.text, place, ',');
    if (*part < fields.size()) place = fields[*part];
  }
  finding.line = line.number;
  finding.column = place.offset + 1;
  finding.length = place.length;
  finding.line_text = std::string(line.text);
}

}  // namespace brelmo::tavi::tools
