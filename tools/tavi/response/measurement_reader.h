// The one reader of measurements, targets and corrections made elsewhere: responses as text, and
// impulse responses as audio or as text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/finding.h"
#include "response/measurement.h"
#include "response/reading_summary.h"

namespace brelmo::tavi::tools {

enum class DelayPolicy {
  // For a measurement. An impulse response begins where it rises, 16 samples before it comes within
  // 20 dB of its peak. From the phase of a text a delay is taken when it cannot be unwrapped
  // otherwise.
  kAuto,
  // For a filter. An impulse response begins at its file's first sample, or at the time that its
  // file states; a delay that unwrapping takes off is put back.
  kKeep,
  // As kAuto, and the delay of a text's phase is always taken off.
  kRemove,
};

struct ReadOptions {
  // By name, or by number counted from 1, in the order frequency, magnitude, phase; two of them
  // leave the phase out. Empty: by the header's names, else by position. For text.
  std::vector<std::string> columns;
  // The sample that is time 0, counted from 0, whatever `delay` says. For impulse responses.
  std::optional<size_t> ir_start;
  std::optional<size_t> channel;  // counted from 1; for audio files
  // How much of an impulse response is used from its start on, faded out over the last quarter;
  // 0 for all of it.
  double window_ms = 20.0;
  // The range that matters: what is said of points, of gaps and of the phase is said of it.
  double from_hz = 300.0;
  double to_hz = 8000.0;
  DelayPolicy delay = DelayPolicy::kAuto;
  // A curve that is drawn rather than measured, such as a target: it may have few points, be smooth
  // and turn its phase as it likes, and holds the first and the last of its points over the rest of
  // the range.
  bool is_drawn = false;
};

// Of a filter: all of it counts, from its first sample on.
ReadOptions FilterReading();
// Of a target for a measurement that is read so.
ReadOptions TargetReading(const ReadOptions& measurement);

struct ReadResult {
  std::optional<Measurement> measurement;  // empty when the file was refused: a finding is an error
  std::vector<Finding> findings;
  ReadingSummary summary;  // as far as the reading came
};

// Throws InputError for what cannot be opened, is no regular file, or is larger than
// kMaxMeasurementBytes; it is not read then.
ReadResult ReadMeasurement(const std::string& path, const ReadOptions& options);

// The same for the content of a file of that name.
ReadResult ReadMeasurementBytes(const std::string& name, std::string_view bytes,
                                const ReadOptions& options);

constexpr size_t kMaxMeasurementBytes = size_t{128} << 20U;

}  // namespace brelmo::tavi::tools
