// A magnitude over frequency: a measurement's, a target's, a correction's.
#pragma once

#include <cstddef>

#include <string>
#include <vector>

namespace brelmo::tavi::tools {

// "312.5 Hz".
std::string HzText(double hz);

struct Range {
  double from_hz = 0.0;
  double to_hz = 0.0;
};

// As long as each other, one point at least; frequencies ascend and are above 0.
struct Curve {
  std::vector<double> hz;
  std::vector<double> db;
};

// Linear between the points on a logarithmic axis; beyond them the last value is held.
double ValueAt(const std::vector<double>& hz, const std::vector<double>& values, double at_hz);
double ValueAt(const Curve& curve, double hz);

// Points evenly spaced on a logarithmic axis, both ends included.
std::vector<double> LogGrid(Range range, double points_per_octave);

// The curve on a grid of LogGrid: each value the mean over the octave fraction that its point
// stands for, so that nothing between two points is lost.
Curve OnGrid(const Curve& curve, const std::vector<double>& grid);

// The mean over the points of an evenly spaced grid that lie in the range.
double MeanWithin(const Curve& curve, Range range);

}  // namespace brelmo::tavi::tools
