#include "response/spectrum.h"

#include <cmath>

#include <algorithm>

#include <unsupported/Eigen/FFT>

namespace brelmo::tavi::tools {

namespace {

// Of this thread's own, for it keeps the factors of the sizes that it has seen.
Eigen::FFT<double>& Transform() {
  thread_local Eigen::FFT<double> transform(Eigen::default_fft_impl<double>(),
                                            Eigen::FFT<double>::HalfSpectrum);
  return transform;
}

}  // namespace

std::vector<Complex> BinsOf(const std::vector<double>& signal, size_t size) {
  std::vector<double> filled(signal);
  filled.resize(size);
  std::vector<Complex> bins;
  Transform().fwd(bins, filled);
  return bins;
}

std::vector<double> SignalOf(const std::vector<Complex>& bins) {
  std::vector<Complex> real_ends(bins);
  real_ends.front() = real_ends.front().real();
  real_ends.back() = real_ends.back().real();
  std::vector<double> signal;
  Transform().inv(signal, real_ends, static_cast<Eigen::Index>(2 * (bins.size() - 1)));
  return signal;
}

double BinFrequency(size_t bin, double rate, size_t size) {
  return static_cast<double>(bin) / static_cast<double>(size) * rate;
}

void BinsOfBlock(const double* samples, size_t size, Complex* bins) {
  Transform().fwd(bins, samples, static_cast<Eigen::Index>(size));
}

void BlockOfBins(const Complex* bins, size_t size, double* samples) {
  Transform().inv(samples, bins, static_cast<Eigen::Index>(size));
}

std::vector<Complex> BinsOfData(const std::vector<float>& raw_data) {
  std::vector<Complex> bins;
  bins.reserve(raw_data.size() / 2);
  for (size_t i = 0; i + 1 < raw_data.size(); i += 2)
    bins.emplace_back(raw_data[i], raw_data[i + 1]);
  return bins;
}

std::optional<std::vector<Complex>> FilterOfData(const std::vector<float>& raw_data) {
  if (raw_data.size() != 2 * kBinCount) return std::nullopt;
  const auto is_finite = [](float value) { return std::isfinite(value); };
  if (!std::all_of(raw_data.begin(), raw_data.end(), is_finite)) return std::nullopt;
  return BinsOfData(raw_data);
}

double ToDb(double gain) { return 20.0 * std::log10(gain); }

double FromDb(double db) { return std::pow(10.0, db / 20.0); }

}  // namespace brelmo::tavi::tools
