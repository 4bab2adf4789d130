#include "check/placed_findings.h"

#include <algorithm>

namespace brelmo::tavi::tools {

PlacedFindings::PlacedFindings(const ConfigText& text, std::string config_name)
    : config_name_(std::move(config_name)) {
  const std::string& all = text.text();
  for (size_t at = all.find('\n'); at != std::string::npos; at = all.find('\n', at + 1)) {
    line_starts_.push_back(at + 1);
  }
}

void PlacedFindings::Place(Finding& finding, Span place) const {
  const auto next_line = std::upper_bound(line_starts_.begin(), line_starts_.end(), place.offset);
  finding.file = config_name_;
  finding.line = static_cast<size_t>(next_line - line_starts_.begin());
  finding.column = place.offset - *(next_line - 1) + 1;
  finding.offset = place.offset;
  finding.length = place.length;
}

void PlacedFindings::Add(Span place, const std::string& name, Severity severity,
                         std::optional<size_t> number, const std::string& message,
                         const std::string& consequence) {
  Finding finding = MakeFinding(name, severity, number, message, consequence);
  Place(finding, place);
  Put(place.offset, std::move(finding));
}

void PlacedFindings::Put(size_t offset, Finding finding) {
  findings_.emplace_back(offset, std::move(finding));
}

std::vector<Finding> PlacedFindings::Take() {
  std::stable_sort(findings_.begin(), findings_.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<Finding> taken;
  taken.reserve(findings_.size());
  for (auto& [offset, finding] : findings_) taken.push_back(std::move(finding));
  findings_.clear();
  return taken;
}

}  // namespace brelmo::tavi::tools
