// Limits that a response's shape is to keep, from a file.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "response/curve.h"

namespace brelmo::tavi::tools {

// Straight lines over logarithmic frequency; outside its first and last point a limit says nothing.
// Either may be empty.
struct Mask {
  std::string name;
  std::vector<std::string> source;  // the comment lines at the head
  Curve upper;
  Curve lower;
};

// A mask's text: comments behind #, then lines of frequency,upper,lower in Hz and dB, an empty
// field for no limit. Throws InputError that names `name`, line and reason.
Mask ParseMask(const std::string& text, const std::string& name);

// A mask that comes with tavi, by its name; empty when `path` is that of a file. Throws
// InputError when there is neither.
std::optional<Mask> FindShippedMask(const std::string& name, const std::string& path);

// A mask that comes with tavi, by its name, or else a file. Throws InputError.
Mask LoadMask(const std::string& name_or_path);

struct MaskMargin {
  // Half the width of the interval of level shifts with which all bands are within the limits;
  // below 0, by how much they miss at the best shift.
  double margin_db = 0.0;
  double shift_db = 0.0;  // the best one, the middle
  // The bands that bind: where the response is lowest over the lower limit, and highest under the
  // upper.
  double lower_hz = 0.0;
  double upper_hz = 0.0;
};

// The level floats: only the shape is judged, a prediction from loudspeaker and correction. Band
// levels are power means over 1/`bands` octave, at the centres of IEC 61260, of `level_db`, a
// response in dB over Hz; bands that reach beyond `data` are not judged. None when the mask has an
// upper or a lower limit in no band.
std::optional<MaskMargin> MarginOf(const Mask& mask, const std::function<double(double)>& level_db,
                                   Range data, int bands = 3);

}  // namespace brelmo::tavi::tools
