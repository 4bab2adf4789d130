#include "response/mask.h"

#include <cmath>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string_view>
#include <utility>

#include "console/input.h"
#include "console/wording.h"
#include "response/number_text.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kSuffix = ".csv";
// What is beyond them is no frequency and no level, and would be no number once it is interpolated.
constexpr Range kFrequencies{0.001, 1e7};
constexpr double kLargestDb = 300.0;

[[noreturn]] void Refuse(const std::string& name, size_t line, const std::string& reason) {
  throw InputError(
      Printable(name) + ":" + std::to_string(line) + ": " + reason +
      "; a line of a mask is frequency,upper,lower in Hz and dB, an empty field for no "
      "limit");
}

std::vector<std::string_view> Fields(std::string_view line) {
  std::vector<std::string_view> fields;
  size_t start = 0;
  for (size_t at = 0; at <= line.size(); ++at) {
    if (at < line.size() && line[at] != ',') continue;
    fields.push_back(TrimBlanks(line.substr(start, at - start)));
    start = at + 1;
  }
  return fields;
}

// Where it was built or installed.
std::vector<std::filesystem::path> MaskFolders() {
  std::error_code error;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  return {folder / "masks", folder / TAVI_RELATIVE_MASK_FOLDER};
}

std::optional<double> Limit(const Curve& limit, double hz) {
  if (limit.hz.empty() || hz < limit.hz.front() || hz > limit.hz.back()) return std::nullopt;
  return ValueAt(limit, hz);
}

// The power mean of the band, in dB.
double BandLevel(const std::function<double(double)>& level_db, double low, double high) {
  constexpr int kPoints = 64;
  double sum = 0.0;
  for (int i = 0; i < kPoints; ++i) {
    const double hz = low * std::pow(high / low, (i + 0.5) / kPoints);
    sum += std::pow(10.0, level_db(hz) / 10.0);
  }
  return 10.0 * std::log10(sum / kPoints);
}

}  // namespace

Mask ParseMask(const std::string& text, const std::string& name) {
  Mask mask;
  mask.name = name;
  size_t number = 1;
  double last_hz = 0.0;
  const DecodedText decoded = DecodeText(text);
  LineCursor lines(decoded.text);
  for (TextLine next; lines.Next(&next);) {
    const std::string_view line = TrimBlanks(next.text);
    number = next.number;
    if (line.empty()) continue;
    if (line.front() == '#') {
      mask.source.emplace_back(TrimBlanks(line.substr(1)));
      continue;
    }
    const auto fields = Fields(line);
    if (fields.size() != 3) Refuse(name, number, Quote(line) + " has not three fields");
    const auto hz = ParseNumber(fields[0], {});
    if (!hz) Refuse(name, number, Quote(fields[0]) + " is no number");
    if (*hz < kFrequencies.from_hz || *hz > kFrequencies.to_hz) {
      Refuse(name, number, Quote(fields[0]) + " is no frequency in Hz (0.001 to 1e7)");
    }
    if (!(*hz > last_hz)) Refuse(name, number, "the frequency does not rise");
    last_hz = *hz;
    for (const bool is_upper : {true, false}) {
      const std::string_view field = fields[is_upper ? 1 : 2];
      if (field.empty()) continue;
      const auto db = ParseNumber(field, {});
      if (!db) Refuse(name, number, Quote(field) + " is no number");
      if (std::abs(*db) > kLargestDb) {
        Refuse(name, number, Quote(field) + " is no limit in dB (-300 to 300)");
      }
      Curve& limit = is_upper ? mask.upper : mask.lower;
      limit.hz.push_back(*hz);
      limit.db.push_back(*db);
    }
  }
  if (mask.upper.hz.empty() || mask.lower.hz.empty()) {
    Refuse(name, number, "there is no upper or no lower limit, and any response would keep to it");
  }
  return mask;
}

std::optional<Mask> FindShippedMask(const std::string& name, const std::string& path) {
  std::error_code error;
  std::vector<std::string> names;
  for (const auto& folder : MaskFolders()) {
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      if (entry.path().extension() != kSuffix) continue;
      names.push_back(entry.path().stem().string());
      if (names.back() == name) {
        return ParseMask(ReadFile(entry.path().string()), name);
      }
    }
  }
  if (!std::filesystem::exists(path, error)) {
    std::sort(names.begin(), names.end());
    throw InputError(Quote(name) + ": is neither a file nor a mask that comes with tavi" +
                     (names.empty() ? "" : " (" + Enumerate(names) + ")"));
  }
  return std::nullopt;
}

Mask LoadMask(const std::string& name_or_path) {
  auto shipped = FindShippedMask(name_or_path, name_or_path);
  return shipped ? std::move(*shipped) : ParseMask(ReadFile(name_or_path), name_or_path);
}

std::optional<MaskMargin> MarginOf(const Mask& mask, const std::function<double(double)>& level_db,
                                   Range data, int bands) {
  // Shifts of the response from `least` to `most` are within the limits.
  double least = -std::numeric_limits<double>::infinity();
  double most = std::numeric_limits<double>::infinity();
  MaskMargin margin;
  // A step of ten in frequency has 10 bands an octave's third; an even fraction of an octave has
  // its centres half a band off 1 kHz.
  const double step = std::pow(10.0, 0.3 / bands);
  const double offset = bands % 2 == 0 ? 0.5 : 0.0;
  const double edge = std::sqrt(step);
  const int reach = 8 * bands;
  for (int i = -reach; i <= reach; ++i) {
    const double hz = 1000.0 * std::pow(step, i + offset);
    // A response that ends at a band's edge has the band, whatever the last digit is.
    constexpr double kRoom = 1.0001;
    if (hz / edge * kRoom < data.from_hz || hz * edge > data.to_hz * kRoom) continue;
    const auto upper = Limit(mask.upper, hz);
    const auto lower = Limit(mask.lower, hz);
    if (!upper && !lower) continue;
    const double level = BandLevel(level_db, hz / edge, hz * edge);
    if (lower && *lower - level > least) {
      least = *lower - level;
      margin.lower_hz = hz;
    }
    if (upper && *upper - level < most) {
      most = *upper - level;
      margin.upper_hz = hz;
    }
  }
  if (!std::isfinite(least) || !std::isfinite(most)) return std::nullopt;
  margin.margin_db = (most - least) / 2;
  margin.shift_db = (most + least) / 2;
  return margin;
}

}  // namespace brelmo::tavi::tools
