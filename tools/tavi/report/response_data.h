// The part of a report's data that the outputs' responses are: over frequency, in time, and beside
// each other. report_data.h has the fields.
#pragma once

#include <cstddef>

#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace brelmo::tavi::tools {

// The member `state` of an output. `is_flat`: for want of a usable file.
const char* StateOfOutput(bool is_flat, const std::vector<float>& raw_data);

// Each response once, whichever outputs have it.
class ResponseData {
 public:
  explicit ResponseData(double rate) : rate_(rate) {}

  // The number of the response. `raw_data` as an engine holds it.
  size_t Add(const std::vector<float>& raw_data);
  size_t most_bins() const { return most_bins_; }
  nlohmann::ordered_json Take() { return std::move(json_); }

 private:
  const double rate_;
  std::map<std::string, size_t> numbers_;  // by the bytes of the data
  nlohmann::ordered_json json_ = nlohmann::ordered_json::array();
  size_t most_bins_ = 0;
};

// How the right channel lies to the left one; null when one of them is no filter.
nlohmann::ordered_json PairToJson(const std::vector<float>& left, const std::vector<float>& right,
                                  double rate);

}  // namespace brelmo::tavi::tools
