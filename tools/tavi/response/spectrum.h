// From a filter's bins to its impulse response and back. Pure, and safe on any thread: the same
// input gives the same bytes.
#pragma once

#include <cstddef>

#include <complex>
#include <optional>
#include <vector>

namespace brelmo::tavi::tools {

using Complex = std::complex<double>;

// What the DSP works with: the bins from 0 Hz to half the sampling rate, of a transform of 512
// points.
constexpr size_t kBinCount = 257;
constexpr size_t kFilterLength = 512;

constexpr double kTurn = 360.0;  // degrees
constexpr double kDegreesPerRadian = 57.29577951308232;

// The bins of a real signal, from 0 Hz to half the rate: `size` / 2 + 1 of a transform of `size`
// points, an even number. A shorter signal is filled up with zeros; a longer one is out of the
// question.
std::vector<Complex> BinsOf(const std::vector<double>& signal, size_t size = kFilterLength);

// The real signal of 2 (n - 1) samples, on a circle, that n bins stand for; n is 2 or more. The
// first and the last bin of a real signal are real: their imaginary parts are left out.
std::vector<double> SignalOf(const std::vector<Complex>& bins);

// Where bin `bin` of a transform of `size` points stands, in Hz, at a sampling rate of `rate` Hz.
double BinFrequency(size_t bin, double rate, size_t size = kFilterLength);

// Both for signals that come in blocks, in memory of the caller's: `size` samples, an even number,
// and `size` / 2 + 1 bins.
void BinsOfBlock(const double* samples, size_t size, Complex* bins);
void BlockOfBins(const Complex* bins, size_t size, double* samples);

// Of a data file, as the module read it: real and imaginary part of bin 0, of bin 1, ...
std::vector<Complex> BinsOfData(const std::vector<float>& raw_data);
// The same of what is a filter to the DSP: 257 finite bins. None for anything else.
std::optional<std::vector<Complex>> FilterOfData(const std::vector<float>& raw_data);

double ToDb(double gain);  // -infinity for 0
double FromDb(double db);

}  // namespace brelmo::tavi::tools
