#include "report/response_data.h"

#include <cmath>

#include <algorithm>
#include <utility>

#include "console/json_number.h"
#include "response/filter_time.h"
#include "response/frequency_response.h"
#include "response/level.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

// More than a float holds of a decibel or a degree.
constexpr int kExact = 4;
constexpr int kShares = 2;  // of decibels of an energy, or of a sample

Json ArcToJson(const Arc& arc) { return {{"start", arc.start}, {"length", arc.length}}; }

Json TimeToJson(const std::vector<float>& raw_data, double rate) {
  const auto bins = FilterOfData(raw_data);
  if (!bins) return Json();
  const FilterTime time = MakeFilterTime(*bins, rate);
  std::vector<double> delays_ms;
  for (const double seconds : GroupDelay(time, rate)) delays_ms.push_back(1000.0 * seconds);
  std::vector<double> impulse_db;
  for (const double sample : time.impulse) impulse_db.push_back(ToDb(std::abs(sample)));
  return {{"group_delay_ms", RoundedArray(delays_ms, kExact)},
          {"impulse_db", RoundedArray(impulse_db, kShares)},
          {"delay_ms", Rounded(1000.0 * time.delay_samples / rate, kExact)},
          {"peak", time.peak},
          {"arc_30db", ArcToJson(time.arc_30db)},
          {"arc_60db", ArcToJson(time.arc_60db)},
          {"late_energy_db", Rounded(time.beyond_taps_db, kShares)},
          {"early_energy_db", Rounded(time.pre_ringing_db, kShares)},
          {"worst_gain_db", Rounded(time.worst_gain_db, kShares)},
          {"speech_level_db", Rounded(SpeechLevelDb(*bins, rate), kShares)}};
}

}  // namespace

const char* StateOfOutput(bool is_flat, const std::vector<float>& raw_data) {
  if (is_flat) return "flat";
  if (raw_data.empty()) return "empty";
  const bool is_finite = std::all_of(raw_data.begin(), raw_data.end(),
                                     [](float value) { return std::isfinite(value); });
  return is_finite ? "file" : "not-finite";
}

size_t ResponseData::Add(const std::vector<float>& raw_data) {
  // By its bytes: a NaN equals nothing, and 0 equals -0.
  std::string bytes(reinterpret_cast<const char*>(raw_data.data()),
                    raw_data.size() * sizeof(float));
  const auto [at, is_new] = numbers_.emplace(std::move(bytes), numbers_.size());
  if (is_new) {
    Json real = Json::array();
    Json imaginary = Json::array();
    for (size_t i = 0; i + 1 < raw_data.size(); i += 2) {
      real.push_back(ToJson(raw_data[i]));
      imaginary.push_back(ToJson(raw_data[i + 1]));
    }
    const FrequencyResponse response = MakeFrequencyResponse(raw_data);
    json_.push_back({{"real", std::move(real)},
                     {"imaginary", std::move(imaginary)},
                     {"magnitude_db", RoundedArray(response.magnitude_db, kExact)},
                     {"phase_degrees", RoundedArray(response.phase_degrees, kExact)},
                     {"time", TimeToJson(raw_data, rate_)}});
    most_bins_ = std::max(most_bins_, raw_data.size() / 2);
  }
  return at->second;
}

Json PairToJson(const std::vector<float>& left, const std::vector<float>& right, double rate) {
  const auto first = FilterOfData(left);
  const auto second = FilterOfData(right);
  if (!first || !second) return Json();
  const PairDifference pair = ComparePair(*first, *second, rate);
  return {{"level_db", Rounded(pair.level_db, kShares)},
          {"delay_ms", Rounded(1000.0 * pair.delay_samples / rate, kExact)},
          {"is_inverted", pair.is_inverted},
          {"similarity", Rounded(pair.similarity, kExact)}};
}

}  // namespace brelmo::tavi::tools
