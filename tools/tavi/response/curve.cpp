#include "response/curve.h"

#include <cmath>

#include <algorithm>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

// The integral of a curve over octaves, from its first point to a place.
class Integral {
 public:
  explicit Integral(const Curve& curve) : db_(curve.db) {
    octaves_.reserve(curve.hz.size());
    for (const double hz : curve.hz) octaves_.push_back(std::log2(hz));
    sums_.assign(octaves_.size(), 0.0);
    for (size_t i = 1; i < octaves_.size(); ++i) {
      sums_[i] = sums_[i - 1] + (octaves_[i] - octaves_[i - 1]) * (db_[i - 1] + db_[i]) / 2;
    }
  }

  double UpTo(double octave) const {
    if (octave <= octaves_.front()) return (octave - octaves_.front()) * db_.front();
    if (octave >= octaves_.back()) return sums_.back() + (octave - octaves_.back()) * db_.back();
    const auto behind = static_cast<size_t>(
        std::upper_bound(octaves_.begin(), octaves_.end(), octave) - octaves_.begin());
    const double width = octaves_[behind] - octaves_[behind - 1];
    const double part = octave - octaves_[behind - 1];
    const double rise = (db_[behind] - db_[behind - 1]) / width;
    return sums_[behind - 1] + part * (db_[behind - 1] + rise * part / 2);
  }

 private:
  std::vector<double> db_;
  std::vector<double> octaves_;
  std::vector<double> sums_;
};

}  // namespace

std::string HzText(double hz) { return Format("%.6g Hz", hz); }

double ValueAt(const std::vector<double>& hz, const std::vector<double>& values, double at_hz) {
  if (at_hz <= hz.front()) return values.front();
  if (at_hz >= hz.back()) return values.back();
  const auto behind =
      static_cast<size_t>(std::upper_bound(hz.begin(), hz.end(), at_hz) - hz.begin());
  const double part = std::log(at_hz / hz[behind - 1]) / std::log(hz[behind] / hz[behind - 1]);
  return values[behind - 1] + part * (values[behind] - values[behind - 1]);
}

double ValueAt(const Curve& curve, double hz) { return ValueAt(curve.hz, curve.db, hz); }

std::vector<double> LogGrid(Range range, double points_per_octave) {
  const double octaves = std::log2(range.to_hz / range.from_hz);
  const auto steps = static_cast<size_t>(std::max(1.0, std::round(octaves * points_per_octave)));
  std::vector<double> grid;
  grid.reserve(steps + 1);
  for (size_t i = 0; i <= steps; ++i) {
    grid.push_back(range.from_hz *
                   std::exp2(octaves * static_cast<double>(i) / static_cast<double>(steps)));
  }
  return grid;
}

Curve OnGrid(const Curve& curve, const std::vector<double>& grid) {
  const Integral integral(curve);
  const double half = std::log2(grid[1] / grid[0]) / 2;
  Curve result;
  result.hz = grid;
  result.db.reserve(grid.size());
  for (const double hz : grid) {
    const double centre = std::log2(hz);
    result.db.push_back((integral.UpTo(centre + half) - integral.UpTo(centre - half)) / (2 * half));
  }
  return result;
}

double MeanWithin(const Curve& curve, Range range) {
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < curve.hz.size(); ++i) {
    if (curve.hz[i] < range.from_hz || curve.hz[i] > range.to_hz) continue;
    sum += curve.db[i];
    ++count;
  }
  return count > 0 ? sum / static_cast<double>(count) : ValueAt(curve, range.from_hz);
}

}  // namespace brelmo::tavi::tools
