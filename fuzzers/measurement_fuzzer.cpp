// Any bytes as measurement: what is promised of what was read and of what is refused, and that it
// is read again from another dress.
#include <cmath>
#include <cstdint>
#include <cstdio>

#include <algorithm>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "console/finding_json.h"
#include "fuzz_check.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::fuzz {

namespace {

using tools::DelayPolicy;
using tools::Finding;
using tools::Measurement;
using tools::ReadMeasurementBytes;
using tools::ReadOptions;
using tools::Severity;

ReadOptions OptionsFrom(uint8_t byte) {
  ReadOptions options;
  options.delay = std::vector<DelayPolicy>{DelayPolicy::kAuto, DelayPolicy::kKeep,
                                           DelayPolicy::kRemove, DelayPolicy::kAuto}[byte % 4];
  if ((byte & 4U) != 0) options.columns = {"1", "SPL(dB)", "3"};
  if ((byte & 8U) != 0) options.channel = 2;
  if ((byte & 16U) != 0) options.ir_start = 5;
  if ((byte & 32U) != 0) options.window_ms = 0.0;
  options.is_drawn = (byte & 64U) != 0;
  return options;
}

void CheckFindings(const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    FUZZ_CHECK_EQ(finding.file, "m");
    FUZZ_CHECK(!FindingToJson(finding).dump().empty());  // throws for what is no UTF-8
    FUZZ_CHECK(!finding.name.empty() && !finding.message.empty() && !finding.consequence.empty());
    FUZZ_CHECK((finding.line == 0) == (finding.column == 0));
    if (finding.column == 0) continue;
    FUZZ_CHECK(finding.column - 1 + finding.length <= finding.line_text.size());
  }
}

void CheckMeasurement(const Measurement& measurement) {
  const std::vector<double>& frequencies = measurement.frequency_hz;
  FUZZ_CHECK(frequencies.size() >= 2 && frequencies[0] > 0.0);
  FUZZ_CHECK(std::is_sorted(frequencies.begin(), frequencies.end(), std::less_equal<>()));
  FUZZ_CHECK(measurement.magnitude_db.size() == frequencies.size());
  FUZZ_CHECK(!measurement.has_phase() || measurement.phase_degrees.size() == frequencies.size());
  const auto is_finite = [](double value) { return std::isfinite(value); };
  for (const auto* values : {&frequencies, &measurement.magnitude_db, &measurement.phase_degrees}) {
    FUZZ_CHECK(std::all_of(values->begin(), values->end(), is_finite));
  }
  FUZZ_CHECK(std::isfinite(measurement.delay_seconds));
  for (const double hz : {0.0, 300.0, 1234.5, 1e6}) {
    FUZZ_CHECK(std::isfinite(std::abs(ResponseAt(measurement, hz))));
    FUZZ_CHECK(std::isfinite(MagnitudeDbAt(measurement, hz)));
    FUZZ_CHECK(std::isfinite(PhaseDegreesAt(measurement, hz)));
  }
}

// The same points with a header, as UTF-16, between tabs and with decimal commas.
void CheckInOtherDress(const Measurement& measurement, bool is_drawn) {
  std::string text = "Frequency\tLevel\n";
  for (size_t i = 0; i < measurement.frequency_hz.size(); ++i) {
    char line[80];
    std::snprintf(line, sizeof(line), "%.17e\t%.17e\n", measurement.frequency_hz[i],
                  measurement.magnitude_db[i]);
    text += line;
  }
  std::replace(text.begin(), text.end(), '.', ',');
  std::string wide = "\xff\xfe";
  for (const char letter : text) wide += {letter, '\0'};
  ReadOptions options;
  options.is_drawn = is_drawn;
  const auto again = ReadMeasurementBytes("m", wide, options).measurement;
  FUZZ_CHECK(again.has_value());
  FUZZ_CHECK(again->frequency_hz == measurement.frequency_hz);
  FUZZ_CHECK(again->magnitude_db == measurement.magnitude_db);
}

void Check(uint8_t choice, std::string_view content) {
  const ReadOptions options = OptionsFrom(choice);
  const auto result = ReadMeasurementBytes("m", content, options);
  CheckFindings(result.findings);
  FUZZ_CHECK(result.measurement.has_value() == (CountOf(result.findings, Severity::kError) == 0));
  FUZZ_CHECK(!SummaryText(result.summary).empty());
  FUZZ_CHECK(!SummaryToJson(result.summary).dump().empty());
  if (!result.measurement) return;
  CheckMeasurement(*result.measurement);
  if (result.measurement->impulse.empty()) {
    CheckInOtherDress(*result.measurement, options.is_drawn);
  }
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  brelmo::tavi::fuzz::Check(data[0], {reinterpret_cast<const char*>(data) + 1, size - 1});
  return 0;
}
