// A data file as a configuration uses it, and its lines, to point at.
#pragma once

#include <cstddef>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/finding.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

struct DataFile {
  std::string name;                                             // as configured
  std::string path;                                             // for messages
  const audio::compensation::CompensationData* data = nullptr;  // as the engine read it; borrowed
  // The cases that play it, by channel, ascending; not both are empty.
  std::vector<size_t> left_cases;
  std::vector<size_t> right_cases;
};

// "left channel of case 0 and right channel of cases 2 and 3".
std::string UsesOf(const DataFile& file);
size_t FirstCaseOf(const DataFile& file);

// The file as text. A line that is not empty is a bin.
class BinLines {
 public:
  struct Line {
    size_t number = 0;  // from 1
    std::string_view text;
  };

  // Reads the file again, through the data folder in force.
  explicit BinLines(const std::string& name);
  BinLines(const BinLines&) = delete;
  BinLines& operator=(const BinLines&) = delete;
  ~BinLines() = default;

  int error() const { return error_; }  // an errno; 0 for a file that was read
  const std::vector<Line>& bins() const { return bins_; }
  // Places the finding at one part of a bin, or at the bin as a whole. Leaves it without a place
  // when the bin is missing, as in a file that was changed meanwhile.
  void Place(Finding& finding, size_t bin, std::optional<size_t> part = std::nullopt) const;

 private:
  std::string content_;
  std::vector<Line> bins_;
  int error_ = 0;
};

}  // namespace brelmo::tavi::tools
