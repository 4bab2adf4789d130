#include "check/data_file_check.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include <android-base/parsedouble.h>

#include "check/config_text.h"
#include "check/data_file_path.h"
#include "console/wording.h"
#include "data_folder.h"
#include "log_capture.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CompensationData;

// What the DSP works with.
constexpr size_t kUsualBins = 257;

// A limit written in decimal and a bin that is just at it differ by less: the bin is a float.
constexpr double kRoundingDb = 1e-5;

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

struct Fault {
  std::string reason;
  std::string cure;
};

// Why a field that the module refuses is no float to it.
Fault WhyNoFloat(const std::string& field) {
  constexpr const char* kBlanks = " \t\r\v\f";
  const std::string trimmed = field.substr(0, field.find_last_not_of(kBlanks) + 1);
  if (trimmed.empty()) return {"is not a number", "write one"};
  if (trimmed.front() == '\0') {
    return {"begins with a null character", "store the file as plain text, not as UTF-16"};
  }
  if (android::base::ParseFloat(trimmed, static_cast<float*>(nullptr))) {
    return {"ends in " + NameOf(field.back()),
            field.back() == '\r' ? "store the file without carriage returns (Unix line ends)"
                                 : "leave it out: nothing may stand behind a number"};
  }
  if (trimmed.rfind("\xef\xbb\xbf", 0) == 0) {
    return {"begins with a byte order mark", "store the file without one"};
  }
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(trimmed.c_str(), &end);
  if (end == trimmed.c_str()) return {"is not a number", "write one"};
  if (*end != '\0') {
    const bool is_separator = *end == ';' || *end == ' ' || *end == '\t';
    return {"is not a number from " + Quote(end) + " on",
            is_separator ? "a comma separates the two parts" : "write the number alone"};
  }
  if (std::isinf(value) && errno == 0) return {"is infinite", "write a number"};
  if (std::abs(value) > std::numeric_limits<float>::max()) {
    return {"is out of float's range: too large", "write a smaller one"};
  }
  return {"is out of float's range: too small, and not 0", "write 0"};
}

// How to write a line that has not two fields.
std::string CureOfFields(std::string_view line, size_t fields) {
  if (line.find(';') != std::string_view::npos) {
    return line.find(',') != std::string_view::npos
               ? "write decimal points, and a comma between the two parts"
               : "a comma separates the two parts, not a semicolon";
  }
  if (fields == 4) return "write decimal points: each comma separates two fields";
  if (fields > 2) return "write the real and the imaginary part alone";
  return fields == 1 && line.find_first_of(" \t") != std::string_view::npos
             ? "a comma separates the two parts"
             : "write both parts; the imaginary one may be 0";
}

class DataFileCheck {
 public:
  DataFileCheck(const DataFile& file, double max_gain_db)
      : file_(file), data_(file.data->raw_data), max_gain_db_(max_gain_db) {}

  std::vector<Finding> Run() {
    if (const EndlessFile endless = LookForEnd(file_.path)) {
      Add("endless-file", Severity::kError, Printable(file_.path) + " is " + endless.what,
          endless.consequence + "; put a data file in its place");
    } else if (file_.data->file_name.empty()) {
      CheckUnusable();
    } else if (data_.empty()) {
      Finding& finding =
          Add("empty-response", Severity::kError, "the file holds no data",
              "the module does not send " + Channels() +
                  " at all: the DSP keeps what it has there; for no correction, write " +
                  std::to_string(kUsualBins) + " lines of 1,0");
      finding.file = file_.path;
    } else {
      CheckNullCharacters();
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

  Finding& Add(const std::string& name, Severity severity, const std::string& message,
               const std::string& consequence) {
    findings_.push_back(MakeFinding(name, severity, FirstCaseOf(file_),
                                    message + " (" + UsesOf(file_) + ")", consequence));
    return findings_.back();
  }

  const BinLines& lines() {
    if (!lines_) lines_.emplace(file_.name);
    return *lines_;
  }

  void PlaceAtBin(Finding& finding, size_t bin, std::optional<size_t> part = std::nullopt) {
    finding.file = file_.path;
    lines().Place(finding, bin, part);
  }

  void AddFlat(const std::string& message, const std::string& cure,
               std::optional<size_t> bin = std::nullopt,
               std::optional<size_t> part = std::nullopt) {
    Finding& finding = Add("flat-response", Severity::kError, message,
                           "the module plays " + Channels() +
                               " flat: " + Count(bin_count(), "bin") + " of 1 + 0i; " + cure);
    if (bin) PlaceAtBin(finding, *bin, part);
  }

  void CheckUnusable() {
    const std::string path = Printable(file_.path);
    if (const int error = lines().error(); error != 0) {
      switch (error) {
        case ENOENT:
          return AddFlat("there is no file " + path, CureOfAbsent());
        case ELOOP:
          return AddFlat(path + " is a symbolic link, which the module does not follow",
                         "put the file itself in its place");
        case EISDIR:
          return AddFlat(path + " is a folder", "name a file in it");
        default:
          return AddFlat(path + " cannot be read: " + std::strerror(error),
                         "the audio HAL has to be able to read it");
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
    if (bin >= lines().bins().size()) return AddChanged();
    const std::string_view line = lines().bins()[bin].text;
    const std::vector<Span> fields = Pieces(line, {0, line.size()}, ',');
    if (reason.rfind("ParseQuantityFromFile: invalid content ", 0) == 0) {
      if (line == "\r") {
        return AddFlat("the line holds nothing but a carriage return",
                       "store the file without carriage returns (Unix line ends)", bin);
      }
      return AddFlat("the line has " + Count(fields.size(), "field") +
                         " instead of 2, a real and an imaginary part",
                     CureOfFields(line, fields.size()), bin);
    }
    for (size_t part = 0; part < fields.size(); ++part) {
      const std::string field(line.substr(fields[part].offset, fields[part].length));
      if (android::base::ParseFloat(field, static_cast<float*>(nullptr))) continue;
      const Fault fault = WhyNoFloat(field);
      return AddFlat(std::string(part == 0 ? "the real" : "the imaginary") + " part " +
                         Quote(field) + " " + fault.reason,
                     fault.cure, bin, part);
    }
    AddChanged();
  }

  void AddChanged() {
    AddFlat(Printable(file_.path) + " was changed while it was read", "check again");
  }

  std::string CureOfAbsent() const {
    constexpr std::string_view kFolder = simulator::DataFolder::kDevicePath;
    if (file_.name.compare(0, kFolder.size(), kFolder) == 0) {
      return "names begin in " + std::string(kFolder) + ": write " +
             Printable(file_.name.substr(kFolder.size()));
    }
    if (file_.name.front() == '/') {
      return "names begin in " + std::string(kFolder) + ": write no absolute path";
    }
    return "put it there, or correct the name";
  }

  // The module takes a number to end at one, and what follows in the field for nothing.
  void CheckNullCharacters() {
    const std::vector<BinLines::Line>& bins = lines().bins();
    std::optional<size_t> first;
    size_t count = 0;
    for (size_t bin = 0; bin < bins.size(); ++bin) {
      if (bins[bin].text.find('\0') == std::string_view::npos) continue;
      if (!first) first = bin;
      ++count;
    }
    if (!first) return;
    std::string message = "a null character stands in bin " + std::to_string(*first);
    if (count > 1) message += ", the first of " + Count(count, "bin") + " that have one";
    Finding& finding = Add("null-character", Severity::kWarning, message,
                           "the module reads a number up to it, and drops what follows in the "
                           "field; store the file as plain text");
    PlaceAtBin(finding, *first);
    const std::string_view line = bins[*first].text;
    finding.column = line.find('\0') + 1;
    finding.length = 1;
  }

  void CheckBinCount() {
    if (bin_count() == kUsualBins) return;
    Finding& finding = Add(
        "bin-count", Severity::kWarning,
        "the file holds " + Count(bin_count(), "bin") + " instead of " + std::to_string(kUsualBins),
        "the module sends them as they are, while the DSP works with " + Count(kUsualBins, "bin") +
            "; " +
            (bin_count() > kUsualBins ? "leave out what is behind them"
                                      : "compute the response for an FFT of 512 points"));
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
    PlaceAtBin(Add("not-finite", Severity::kError, message,
                   "the module passes it on to the DSP as it is; write a number"),
               at / 2, at % 2);
  }

  void CheckEdgeBins() {
    if (bin_count() != kUsualBins) return;
    std::vector<std::string> words;
    std::optional<size_t> first;
    for (const size_t bin : {size_t{0}, kUsualBins - 1}) {
      const float imaginary = data_[2 * bin + 1];
      if (imaginary == 0.0F || !std::isfinite(imaginary)) continue;
      words.push_back(Format("%g in bin %zu", static_cast<double>(imaginary), bin));
      if (!first) first = bin;
    }
    if (!first) return;
    PlaceAtBin(Add("complex-edge-bin", Severity::kWarning,
                   "no real filter has an imaginary part of " + Enumerate(words),
                   "the module sends it as it is; write 0"),
               *first, 1);
  }

  void CheckGain() {
    std::optional<size_t> worst;
    double worst_gain = 0.0;
    size_t count = 0;
    for (size_t bin = 0; bin < bin_count(); ++bin) {
      const double gain = ToDb(
          std::hypot(static_cast<double>(data_[2 * bin]), static_cast<double>(data_[2 * bin + 1])));
      if (!(gain > max_gain_db_ + kRoundingDb)) continue;  // nor a NaN
      ++count;
      if (worst && gain <= worst_gain) continue;
      worst = bin;
      worst_gain = gain;
    }
    if (!worst) return;
    const std::string limit = "above the limit of " + Format("%+g dB", max_gain_db_);
    PlaceAtBin(
        Add("high-gain", Severity::kWarning,
            "bin " + std::to_string(*worst) + " has a gain of " + Format("%+.2f dB", worst_gain) +
                ", " + (count == 1 ? limit : "the highest of " + Count(count, "bin") + " " + limit),
            "the module sends it as it is; lower it, or allow for it with --max-gain"),
        *worst);
  }

  const DataFile& file_;
  const std::vector<float>& data_;
  const double max_gain_db_;
  std::optional<BinLines> lines_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> CheckDataFile(const DataFile& file, double max_gain_db) {
  return DataFileCheck(file, max_gain_db).Run();
}

}  // namespace brelmo::tavi::tools
