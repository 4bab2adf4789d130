// Writing a data file as the module reads it.
#pragma once

#include <string>
#include <vector>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

enum class Digits {
  kFloat,          // as few as give the same float again
  kEightDecimals,  // for files that are compared: a value of the last decimal is -160 dB
};

// A line a bin, "real,imaginary". What is too small for a float that the module takes is 0.
std::string DataFileText(const std::vector<Complex>& bins, Digits digits = Digits::kFloat);

// The bins as the module will have them: rounded as DataFileText with Digits::kFloat does.
std::vector<Complex> AsFloats(const std::vector<Complex>& bins);

}  // namespace brelmo::tavi::tools
