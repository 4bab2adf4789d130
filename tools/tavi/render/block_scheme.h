// How a DSP that multiplies spectra of blocks plays a filter. The real one's way is not known: each
// class here is one guess, and the real one, once known, is one class more.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

// What goes in and comes out at a time.
constexpr size_t kHop = 256;
using Hop = std::array<double, kHop>;
static_assert(kFilterLength == 2 * kHop);

using Bins = std::vector<Complex>;  // 257 of them

// A filter cut into pieces of a hop, the bins of each: what exact convolution works with.
std::vector<Bins> PartsOf(const std::vector<double>& impulse);

// Plays a filter of any length without error. Keeps the input: the filter may change at any hop.
class Convolver {
 public:
  // `most_parts`: of the longest filter.
  explicit Convolver(size_t most_parts) : spectra_(most_parts, Bins(kBinCount)) {}
  void Process(const Hop& in, const std::vector<Bins>& parts, Hop& out);

 private:
  std::array<double, kFilterLength> frame_{};  // the hop before and this one
  std::vector<Bins> spectra_;                  // of the last frames
  size_t newest_ = 0;
};

// A response as the DSP is sent it.
struct BlockFilter {
  Bins bins;
  std::vector<Bins> parts;  // of the impulse response that the bins stand for
};
// Of 257 bins.
BlockFilter MakeBlockFilter(const Bins& bins);

// One channel. Not thread-safe.
class BlockScheme {
 public:
  virtual ~BlockScheme() = default;
  virtual std::unique_ptr<BlockScheme> Clone() const = 0;
  // By how many hops `out` is later than `in`, the filter's own delay left out.
  virtual size_t delay() const = 0;
  virtual void Process(const Hop& in, const BlockFilter& filter, Hop& out) = 0;

 protected:
  BlockScheme() = default;
  BlockScheme(const BlockScheme&) = default;
  BlockScheme& operator=(const BlockScheme&) = default;
};

enum class Scheme : size_t {
  // 512 points of which the last 256 are played. Exact up to 257 taps; the rest folds over.
  kOverlapSave,
  // 512 points under the square root of a Hann window before and after, added with half of them
  // overlapping. Never exact, and the better the shorter the filter is.
  kWindowed,
  // Linear convolution with all 512 taps.
  kIdeal,
};
constexpr std::array<Scheme, 3> kSchemes = {Scheme::kOverlapSave, Scheme::kWindowed,
                                            Scheme::kIdeal};

// As the command line has it: "overlap-save".
const char* SchemeName(Scheme scheme);
std::string DescribeScheme(Scheme scheme);
std::unique_ptr<BlockScheme> MakeBlockScheme(Scheme scheme);

}  // namespace brelmo::tavi::tools
