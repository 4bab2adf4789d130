#include "response/measurement_reader.h"

#include <cerrno>
#include <cmath>
#include <cstring>

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>

#include <android-base/file.h>
#include <android-base/unique_fd.h>

#include "console/input.h"
#include "console/wording.h"
#include "response/curve.h"
#include "response/impulse_response.h"
#include "response/impulse_samples.h"
#include "response/phase.h"
#include "response/table_text.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

// Text takes more memory and time than audio of the same size.
constexpr size_t kMaxTextBytes = size_t{32} << 20U;
constexpr size_t kMaxLineBytes = size_t{64} << 10U;
// Rounded frequencies of 12 points an octave come as far apart as those of 11.5.
constexpr double kLeastPointsPerOctave = 12.0;
constexpr double kRounding = 0.5;

bool HasLongLine(std::string_view text) {
  LineCursor cursor(text);
  TextLine line;
  while (cursor.Next(&line)) {
    if (line.text.size() > kMaxLineBytes) return true;
  }
  return false;
}

class MeasurementReader {
 public:
  MeasurementReader(const std::string& name, const ReadOptions& options)
      : name_(name), options_(options) {
    result_.summary.file = name;
  }

  ReadResult Run(std::string_view bytes) {
    Measurement measurement;
    measurement.name = name_;
    if (Read(bytes, measurement) && CheckRange(measurement)) {
      Summarize(measurement);
      result_.measurement = std::move(measurement);
    }
    return std::move(result_);
  }

 private:
  void Add(const std::string& name, Severity severity, const std::string& message,
           const std::string& consequence) {
    result_.findings.push_back(MakeFinding(name, severity, std::nullopt, message, consequence));
    result_.findings.back().file = name_;
  }
  bool Refuse(const std::string& name, const std::string& message, const std::string& cure) {
    Add(name, Severity::kError, message, "the file is refused; " + cure);
    return false;
  }
  void AddAll(const std::vector<Finding>& findings) {
    result_.findings.insert(result_.findings.end(), findings.begin(), findings.end());
  }
  void NoteUnused(bool is_given, const char* option, const char* of) {
    if (!is_given) return;
    Add("unused-option", Severity::kNote, std::string(option) + " is of no use here",
        std::string("it is for ") + of);
  }

  bool Read(std::string_view bytes, Measurement& measurement) {
    if (IsAudio(bytes)) {
      return ReadImpulse(ReadImpulseAudio(name_, bytes, options_.channel), measurement);
    }
    if (bytes.size() > kMaxTextBytes) {
      return Refuse("not-text", "the file is too large for a response as text",
                    "export the response with fewer points");
    }
    const DecodedText decoded = DecodeText(bytes);
    if (decoded.text.find('\0') != std::string::npos || HasLongLine(decoded.text)) {
      return Refuse("not-text", "the file is neither text nor audio that can be read",
                    "give a response as text, or an impulse response as WAV, AIFF or FLAC");
    }
    result_.summary.encoding = decoded.encoding;
    NoteUnused(options_.channel.has_value(), "--channel", "audio files");
    if (IsImpulseText(decoded.text)) {
      return ReadImpulse(ReadImpulseText(name_, decoded.text), measurement);
    }
    NoteUnused(options_.ir_start.has_value(), "--ir-start", "impulse responses");
    return ReadResponse(decoded.text, measurement);
  }

  bool ReadImpulse(const ImpulseResult& impulse, Measurement& measurement) {
    NoteUnused(!options_.columns.empty(), "--column", "responses as text");
    AddAll(impulse.findings);
    if (!impulse.impulse) return false;
    ImpulseReading reading = MakeImpulseMeasurement(name_, *impulse.impulse, options_);
    AddAll(reading.findings);
    ReadingSummary& summary = result_.summary;
    summary.is_impulse = true;
    summary.format = impulse.impulse->format;
    summary.rate_hz = impulse.impulse->rate_hz;
    summary.channel = impulse.impulse->channel;
    summary.channels = impulse.impulse->channels;
    summary.start_sample = reading.start_sample;
    summary.window_ms = options_.window_ms;
    if (CountOf(reading.findings, Severity::kError) > 0) return false;
    measurement = std::move(reading.measurement);
    measurement.name = name_;
    return true;
  }

  bool ReadResponse(std::string_view text, Measurement& measurement) {
    TableResult result = ReadTable(name_, text, options_.columns);
    AddAll(result.findings);
    if (!result.table) return false;
    if (result.smoothed && !options_.is_drawn) AddAll({*result.smoothed});
    ResponseTable& table = *result.table;
    ReadingSummary& summary = result_.summary;
    summary.separator = table.separator;
    summary.decimal_sign = table.decimal_sign;
    summary.thousands = table.thousands;
    summary.columns = table.columns;
    summary.unused_columns = table.unused_columns;
    summary.comment_lines = table.comment_lines;
    summary.header_lines = table.header_lines;
    measurement.frequency_hz = std::move(table.frequency_hz);
    measurement.magnitude_db = std::move(table.magnitude_db);
    if (!table.phase_degrees.empty()) TakePhase(table.phase_degrees, measurement);
    return true;
  }

  void TakePhase(const std::vector<double>& degrees, Measurement& measurement) {
    SortedPhase sorted = SortPhase(measurement.frequency_hz, degrees, options_.from_hz,
                                   options_.to_hz, options_.delay == DelayPolicy::kRemove);
    if (sorted.fast_share > kMaxFastShare && !options_.is_drawn) {
      const std::string consequence =
          sorted.degrees.empty()
              ? "the phase is not used, that of minimum phase takes its place: measure with less "
                "delay, or export more points"
              : Format("a delay of %.3f ms was estimated", sorted.delay_seconds * 1000.0) +
                    " and the rest can be unwrapped: remove the delay in the measuring program, or "
                    "export more points";
      Add("phase-undersampled", Severity::kWarning,
          Format("%.1f", sorted.fast_share * 100.0) +
              " % of the steps between points turn the phase by more than 120 degrees",
          consequence);
    }
    measurement.phase_degrees = std::move(sorted.degrees);
    if (options_.delay != DelayPolicy::kKeep) {
      measurement.delay_seconds = sorted.delay_seconds;
      return;
    }
    for (size_t i = 0; i < measurement.phase_degrees.size(); ++i) {
      measurement.phase_degrees[i] +=
          DelayDegrees(measurement.frequency_hz[i], sorted.delay_seconds);
    }
  }

  // False when nothing lies in the range.
  bool CheckRange(const Measurement& measurement) {
    if (options_.is_drawn) return true;
    const std::vector<double>& points = measurement.frequency_hz;
    const std::string range = Format("%.6g to ", options_.from_hz) + HzText(options_.to_hz);
    const auto begin = std::lower_bound(points.begin(), points.end(), options_.from_hz);
    const auto end = std::upper_bound(begin, points.end(), options_.to_hz);
    const std::string extent = Format("%.6g to ", points.front()) + HzText(points.back());
    if (begin == end) {
      return Refuse("nothing-in-range",
                    "the data, " + extent + ", have no point in the range of " + range,
                    "give --range as the measurement has it, or see whether its column of "
                    "frequencies is in Hz");
    }
    if (points.front() > options_.from_hz || points.back() < options_.to_hz) {
      Add("range-not-covered", Severity::kWarning,
          "the data, " + extent + ", end inside the range of " + range,
          "the value at the end is held, and nothing is known there: narrow --range, or measure "
          "further");
    }
    if (measurement.impulse.empty()) CheckDensity(points, begin, end);
    return true;
  }

  using Point = std::vector<double>::const_iterator;
  void CheckDensity(const std::vector<double>& points, Point begin, Point end) {
    double widest = 1.0;
    double at = 0.0;
    // The steps across the range's ends count as well.
    const Point last = end == points.end() ? end : end + 1;
    for (Point point = std::max(begin, points.begin() + 1); point < last; ++point) {
      const double ratio = *point / *(point - 1);
      if (ratio <= widest) continue;
      widest = ratio;
      at = *(point - 1);
    }
    const double density = 1.0 / std::log2(widest);
    if (density >= kLeastPointsPerOctave - kRounding) return;
    Add("few-points", Severity::kWarning,
        Format("between %.6g and ", at) + HzText(at * widest) +
            " there is no point: " + Format("%.1f", density) + " an octave, of " +
            Format("%.0f", kLeastPointsPerOctave) + " at least",
        "what happens between two points is missed: export more points");
  }

  void Summarize(const Measurement& measurement) {
    ReadingSummary& summary = result_.summary;
    summary.points =
        summary.is_impulse ? measurement.impulse.size() : measurement.frequency_hz.size();
    summary.from_hz = measurement.frequency_hz.front();
    summary.to_hz = measurement.frequency_hz.back();
    summary.has_phase = measurement.has_phase();
    summary.delay_seconds = measurement.delay_seconds;
  }

  const std::string& name_;
  const ReadOptions& options_;
  ReadResult result_;
};

}  // namespace

ReadOptions FilterReading() {
  ReadOptions options;
  options.delay = DelayPolicy::kKeep;
  options.window_ms = 0.0;
  return options;
}

ReadOptions TargetReading(const ReadOptions& measurement) {
  ReadOptions options;
  options.from_hz = measurement.from_hz;
  options.to_hz = measurement.to_hz;
  options.is_drawn = true;
  return options;
}

ReadResult ReadMeasurementBytes(const std::string& name, std::string_view bytes,
                                const ReadOptions& options) {
  return MeasurementReader(name, options).Run(bytes);
}

ReadResult ReadMeasurement(const std::string& path, const ReadOptions& options) {
  const auto fail = [&path](const std::string& why) -> InputError {
    return InputError(Printable(path) + ": " + why);
  };
  // A FIFO without a writer would make open wait.
  const android::base::unique_fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) {
    throw fail(std::string("cannot be read: ") + std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) throw fail("is a folder");
  if (!S_ISREG(status.st_mode)) throw fail("is no regular file");
  if (static_cast<uint64_t>(status.st_size) > kMaxMeasurementBytes) {
    throw fail("is larger than " + std::to_string(kMaxMeasurementBytes >> 20U) +
               " MiB, too large for a measurement");
  }
  std::string bytes;
  if (!android::base::ReadFdToString(file, &bytes)) {
    throw fail(std::string("cannot be read: ") + std::strerror(errno));
  }
  return ReadMeasurementBytes(path, bytes, options);
}

}  // namespace brelmo::tavi::tools
