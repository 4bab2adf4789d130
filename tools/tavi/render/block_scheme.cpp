#include "render/block_scheme.h"

#include <cmath>

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

using Frame = std::array<double, kFilterLength>;

// std::complex checks each product for NaN.
Complex Product(const Complex& a, const Complex& b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// Moves the frame on by a hop.
void Push(Frame& frame, const Hop& in) {
  std::copy(frame.begin() + kHop, frame.end(), frame.begin());
  std::copy(in.begin(), in.end(), frame.begin() + kHop);
}

void Multiply(Frame& frame, const Bins& by) {
  std::array<Complex, kBinCount> bins;
  BinsOfBlock(frame.data(), frame.size(), bins.data());
  for (size_t i = 0; i < bins.size(); ++i) bins[i] = Product(bins[i], by[i]);
  BlockOfBins(bins.data(), frame.size(), frame.data());
}

class OverlapSave final : public BlockScheme {
 public:
  std::unique_ptr<BlockScheme> Clone() const override {
    return std::make_unique<OverlapSave>(*this);
  }
  size_t delay() const override { return 0; }
  void Process(const Hop& in, const BlockFilter& filter, Hop& out) override {
    Push(frame_, in);
    Frame played = frame_;
    Multiply(played, filter.bins);
    std::copy(played.begin() + kHop, played.end(), out.begin());
  }

 private:
  Frame frame_{};
};

class Windowed final : public BlockScheme {
 public:
  std::unique_ptr<BlockScheme> Clone() const override { return std::make_unique<Windowed>(*this); }
  size_t delay() const override { return 1; }
  void Process(const Hop& in, const BlockFilter& filter, Hop& out) override {
    static const Frame window = MakeWindow();
    Push(frame_, in);
    Frame played;
    for (size_t i = 0; i < played.size(); ++i) played[i] = frame_[i] * window[i];
    Multiply(played, filter.bins);
    for (size_t i = 0; i < kHop; ++i) {
      out[i] = overlap_[i] + played[i] * window[i];
      overlap_[i] = played[kHop + i] * window[kHop + i];
    }
  }

 private:
  static Frame MakeWindow() {
    Frame window;
    for (size_t i = 0; i < window.size(); ++i) {
      window[i] = std::sin(M_PI * static_cast<double>(i) / static_cast<double>(window.size()));
    }
    return window;
  }

  Frame frame_{};
  Hop overlap_{};
};

class Ideal final : public BlockScheme {
 public:
  std::unique_ptr<BlockScheme> Clone() const override { return std::make_unique<Ideal>(*this); }
  size_t delay() const override { return 0; }
  void Process(const Hop& in, const BlockFilter& filter, Hop& out) override {
    convolver_.Process(in, filter.parts, out);
  }

 private:
  Convolver convolver_ = Convolver(kFilterLength / kHop);
};

}  // namespace

std::vector<Bins> PartsOf(const std::vector<double>& impulse) {
  std::vector<Bins> parts;
  for (size_t at = 0; at < impulse.size(); at += kHop) {
    const size_t end = std::min(at + kHop, impulse.size());
    parts.push_back(BinsOf({impulse.begin() + static_cast<std::ptrdiff_t>(at),
                            impulse.begin() + static_cast<std::ptrdiff_t>(end)}));
  }
  return parts;
}

void Convolver::Process(const Hop& in, const std::vector<Bins>& parts, Hop& out) {
  Push(frame_, in);
  newest_ = (newest_ + spectra_.size() - 1) % spectra_.size();
  BinsOfBlock(frame_.data(), frame_.size(), spectra_[newest_].data());
  std::array<Complex, kBinCount> sum{};
  for (size_t part = 0; part < parts.size(); ++part) {
    const Bins& spectrum = spectra_[(newest_ + part) % spectra_.size()];
    for (size_t i = 0; i < sum.size(); ++i) sum[i] += Product(spectrum[i], parts[part][i]);
  }
  Frame played;
  BlockOfBins(sum.data(), played.size(), played.data());
  std::copy(played.begin() + kHop, played.end(), out.begin());
}

BlockFilter MakeBlockFilter(const Bins& bins) {
  const std::vector<double> impulse = SignalOf(bins);
  // As a real signal has them.
  return {BinsOf(impulse), PartsOf(impulse)};
}

const char* SchemeName(Scheme scheme) {
  switch (scheme) {
    case Scheme::kOverlapSave:
      return "overlap-save";
    case Scheme::kWindowed:
      return "windowed";
    case Scheme::kIdeal:
      break;
  }
  return "ideal";
}

std::string DescribeScheme(Scheme scheme) {
  switch (scheme) {
    case Scheme::kOverlapSave:
      return "overlap-save, FFT of 512 points, hop 256";
    case Scheme::kWindowed:
      return "windowed overlap-add, square root of Hann before and after, FFT of 512 points, hop "
             "256";
    case Scheme::kIdeal:
      break;
  }
  return "ideal, linear convolution with 512 taps";
}

std::unique_ptr<BlockScheme> MakeBlockScheme(Scheme scheme) {
  switch (scheme) {
    case Scheme::kOverlapSave:
      return std::make_unique<OverlapSave>();
    case Scheme::kWindowed:
      return std::make_unique<Windowed>();
    case Scheme::kIdeal:
      break;
  }
  return std::make_unique<Ideal>();
}

}  // namespace brelmo::tavi::tools
