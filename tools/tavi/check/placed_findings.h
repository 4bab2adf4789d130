// Findings about places in a configuration text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/config_text.h"
#include "console/finding.h"

namespace brelmo::tavi::tools {

class PlacedFindings {
 public:
  // `text` is borrowed; `config_name` is what findings call it.
  PlacedFindings(const ConfigText& text, std::string config_name);

  // Gives the finding its place in the text.
  void Place(Finding& finding, Span place) const;
  // Makes one there.
  void Add(Span place, const std::string& name, Severity severity, std::optional<size_t> number,
           const std::string& message, const std::string& consequence);
  // Keeps one of any place, in the order of the text at `offset`.
  void Put(size_t offset, Finding finding);

  size_t size() const { return findings_.size(); }
  // In the order of the text.
  std::vector<Finding> Take();

 private:
  const std::string config_name_;
  std::vector<size_t> line_starts_ = {0};
  std::vector<std::pair<size_t, Finding>> findings_;
};

}  // namespace brelmo::tavi::tools
