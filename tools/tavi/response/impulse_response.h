// From the samples of an impulse response to the response.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "console/finding.h"
#include "response/impulse_samples.h"
#include "response/measurement.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {

struct ImpulseReading {
  Measurement measurement;  // without its name; of use when no finding is an error
  size_t start_sample = 0;
  std::vector<Finding> findings;
};

// Finds the start, and what speaks against the samples; cuts the window out and evaluates it.
ImpulseReading MakeImpulseMeasurement(const std::string& file, const ImpulseSamples& impulse,
                                      const ReadOptions& options);

}  // namespace brelmo::tavi::tools
