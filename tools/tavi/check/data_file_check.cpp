#include "check/data_file_check.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include <android-base/file.h>
#include <android-base/parsedouble.h>

#include "check/config_text.h"
#include "console/wording.h"
#include "data_folder.h"
#include "log_capture.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CompensationData;

// What the DSP works with.
constexpr size_t kUsualBins = 257;

// A limit written in decimal and a bin that is just at it differ by less: the bin is a float.
constexpr double kRoundingDb = 1e-5;

struct Line {
  size_t number = 0;  // from 1
  std::string_view text;
};

// The file as text. A line that is not empty is a bin.
class Lines {
 public:
  explicit Lines(const std::string& name) {
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
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;
  ~Lines() = default;

  int error() const { return error_; }
  const std::vector<Line>& bins() const { return bins_; }

 private:
  std::string content_;
  std::vector<Line> bins_;
  int error_ = 0;
};

std::string NameOf(char blank) {
  switch (blank) {
    case '\r':
      return "a carriage return";
    case '\t':
      return "a tab";
    default:
      return "a blank";
  }
}

// Why a field that the module refuses is no float to it.
std::string WhyNoFloat(const std::string& field) {
  constexpr const char* kBlanks = " \t\r\v\f";
  const std::string trimmed = field.substr(0, field.find_last_not_of(kBlanks) + 1);
  if (trimmed.empty()) return "is not a number";
  if (android::base::ParseFloat(trimmed, static_cast<float*>(nullptr))) {
    return "ends in " + NameOf(field.back());
  }
  if (trimmed.rfind("\xef\xbb\xbf", 0) == 0) return "begins with a byte order mark";
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(trimmed.c_str(), &end);
  if (end == trimmed.c_str()) return "is not a number";
  if (*end != '\0') return "is not a number from " + Quote(end) + " on";
  if (std::isinf(value) && errno == 0) return "is infinite";
  if (std::abs(value) > std::numeric_limits<float>::max()) {
    return "is out of float's range: too large";
  }
  return "is out of float's range: too small, and not 0";
}

size_t FirstOf(const std::vector<size_t>& cases) {
  return cases.empty() ? std::numeric_limits<size_t>::max() : cases.front();
}

std::string Decibels(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof(text), format, value);
  return std::string(text) + " dB";
}

class DataFileCheck {
 public:
  DataFileCheck(const DataFile& file, double max_gain_db)
      : file_(file), data_(file.data->raw_data), max_gain_db_(max_gain_db) {}

  std::vector<Finding> Run() {
    if (file_.data->file_name.empty()) {
      CheckUnusable();
    } else if (data_.empty()) {
      Finding& finding = Add(
          "empty-response", Severity::kError, "the file holds no data",
          "the module does not send " + Channels() + " at all: the DSP keeps what it has there");
      finding.file = file_.path;
    } else {
      CheckBinCount();
      CheckFinite();
      CheckEdgeBins();
      CheckGain();
    }
    return std::move(findings_);
  }

 private:
  size_t bin_count() const { return data_.size() / 2; }

  bool IsPlayedOnce() const { return file_.left_cases.size() + file_.right_cases.size() == 1; }
  std::string Channels() const { return IsPlayedOnce() ? "that channel" : "those channels"; }
  std::string Uses() const {
    std::vector<std::string> uses;
    if (!file_.left_cases.empty())
      uses.push_back("left channel of " + CaseNumbers(file_.left_cases));
    if (!file_.right_cases.empty()) {
      uses.push_back("right channel of " + CaseNumbers(file_.right_cases));
    }
    return Enumerate(uses);
  }

  Finding& Add(const std::string& name, Severity severity, const std::string& message,
               const std::string& consequence) {
    findings_.push_back(MakeFinding(name, severity,
                                    std::min(FirstOf(file_.left_cases), FirstOf(file_.right_cases)),
                                    message + " (" + Uses() + ")", consequence));
    return findings_.back();
  }

  const Lines& lines() {
    if (!lines_) lines_.emplace(file_.name);
    return *lines_;
  }

  // Places the finding at one part of a bin, or at the bin as a whole.
  void PlaceAtBin(Finding& finding, size_t bin, std::optional<size_t> part = std::nullopt) {
    finding.file = file_.path;
    if (bin >= lines().bins().size()) return;  // the file was changed meanwhile
    const Line& line = lines().bins()[bin];
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

  void AddFlat(const std::string& message, std::optional<size_t> bin = std::nullopt,
               std::optional<size_t> part = std::nullopt) {
    Finding& finding = Add(
        "flat-response", Severity::kError, message,
        "the module plays " + Channels() + " flat: " + Count(bin_count(), "bin") + " of 1 + 0i");
    if (bin) PlaceAtBin(finding, *bin, part);
  }

  void CheckUnusable() {
    const std::string path = Printable(file_.path);
    if (const int error = lines().error(); error != 0) {
      switch (error) {
        case ENOENT:
          return AddFlat("there is no file " + path);
        case ELOOP:
          return AddFlat(path + " is a symbolic link, which the module does not follow");
        case EISDIR:
          return AddFlat(path + " is a folder");
        default:
          return AddFlat(path + " cannot be read: " + std::strerror(error));
      }
    }
    CompensationData again;
    std::string reason;
    {
      const simulator::LogCapture log([&reason](const simulator::LogLine& line) {
        if (reason.empty()) reason = line.text;
      });
      again.ParseQuantityFromFile(file_.name);
    }
    const size_t bin = again.raw_data.size() / 2;  // the one that was refused
    if (bin >= lines().bins().size()) return AddFlat(path + " was changed while it was read");
    const std::string_view line = lines().bins()[bin].text;
    const std::vector<Span> fields = Pieces(line, {0, line.size()}, ',');
    if (reason.rfind("ParseQuantityFromFile: invalid content ", 0) == 0) {
      const std::string count = Count(fields.size(), "field");
      if (line == "\r") return AddFlat("the line holds nothing but a carriage return", bin);
      return AddFlat("the line has " + count + " instead of 2, a real and an imaginary part", bin);
    }
    for (size_t part = 0; part < fields.size(); ++part) {
      const std::string field(line.substr(fields[part].offset, fields[part].length));
      if (android::base::ParseFloat(field, static_cast<float*>(nullptr))) continue;
      return AddFlat(std::string(part == 0 ? "the real" : "the imaginary") + " part " +
                         Quote(field) + " " + WhyNoFloat(field),
                     bin, part);
    }
    AddFlat(path + " was changed while it was read");
  }

  void CheckBinCount() {
    if (bin_count() == kUsualBins) return;
    Finding& finding = Add(
        "bin-count", Severity::kWarning,
        "the file holds " + Count(bin_count(), "bin") + " instead of " + std::to_string(kUsualBins),
        "the module sends them as they are, while the DSP works with " + Count(kUsualBins, "bin"));
    finding.file = file_.path;
    if (bin_count() > kUsualBins) PlaceAtBin(finding, kUsualBins);
  }

  void CheckFinite() {
    const auto is_bad = [](float value) { return !std::isfinite(value); };
    const auto first = std::find_if(data_.begin(), data_.end(), is_bad);
    if (first == data_.end()) return;
    const auto at = static_cast<size_t>(first - data_.begin());
    size_t count = 0;
    for (size_t bin = 0; bin < bin_count(); ++bin) {
      if (is_bad(data_[2 * bin]) || is_bad(data_[2 * bin + 1])) ++count;
    }
    std::string message = "bin " + std::to_string(at / 2) + " holds a NaN";
    if (count > 1) message += ", the first of " + Count(count, "bin") + " that do";
    PlaceAtBin(
        Add("not-finite", Severity::kError, message, "the module passes it on to the DSP as it is"),
        at / 2, at % 2);
  }

  void CheckEdgeBins() {
    if (bin_count() != kUsualBins) return;
    std::vector<std::string> words;
    std::optional<size_t> first;
    for (const size_t bin : {size_t{0}, kUsualBins - 1}) {
      const float imaginary = data_[2 * bin + 1];
      if (imaginary == 0.0F || !std::isfinite(imaginary)) continue;
      char text[64];
      std::snprintf(text, sizeof(text), "%g in bin %zu", static_cast<double>(imaginary), bin);
      words.emplace_back(text);
      if (!first) first = bin;
    }
    if (!first) return;
    PlaceAtBin(Add("complex-edge-bin", Severity::kWarning,
                   "no real filter has an imaginary part of " + Enumerate(words),
                   "the module sends it as it is"),
               *first, 1);
  }

  void CheckGain() {
    std::optional<size_t> worst;
    double worst_gain = 0.0;
    size_t count = 0;
    for (size_t bin = 0; bin < bin_count(); ++bin) {
      const double gain = 20.0 * std::log10(std::hypot(static_cast<double>(data_[2 * bin]),
                                                       static_cast<double>(data_[2 * bin + 1])));
      if (!(gain > max_gain_db_ + kRoundingDb)) continue;  // nor a NaN
      ++count;
      if (worst && gain <= worst_gain) continue;
      worst = bin;
      worst_gain = gain;
    }
    if (!worst) return;
    const std::string limit = "above the limit of " + Decibels("%+g", max_gain_db_);
    PlaceAtBin(
        Add("high-gain", Severity::kWarning,
            "bin " + std::to_string(*worst) + " has a gain of " + Decibels("%+.2f", worst_gain) +
                ", " + (count == 1 ? limit : "the highest of " + Count(count, "bin") + " " + limit),
            "the module sends it as it is"),
        *worst);
  }

  const DataFile& file_;
  const std::vector<float>& data_;
  const double max_gain_db_;
  std::optional<Lines> lines_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> CheckDataFile(const DataFile& file, double max_gain_db) {
  return DataFileCheck(file, max_gain_db).Run();
}

}  // namespace brelmo::tavi::tools
