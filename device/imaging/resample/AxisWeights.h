#pragma once

#include <cstdint>
#include <span>

#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {

/// For every pixel of a window of the canvas axis, the weights of the stored samples of which it is
/// the sum. Shrinking convolves with the Lanczos kernel of three lobes, enlarging with the cubic of
/// Catmull and Rom; a placement that moves by whole pixels copies. What the kernel would take from
/// outside of the source samples, it takes from the nearest of them.
///
/// Weights are fixed-point numbers that add up to `one`, so that results are the same on every
/// processor and a flat picture stays as it is. They come in pairs for the samples 2n and 2n + 1:
/// the weight of the even one in the low 16 bits, that of the odd one in the high 16 bits.
class AxisWeights {
 public:
  static constexpr int fractionBits = 14;
  static constexpr int one = 1 << fractionBits;
  /// At smaller scales the weights of single samples are too small for fixed point.
  static constexpr double minScale = 1.0 / 64;

  explicit AxisWeights(const AxisPlacement& axis);

  /// Results are numbered along the stored axis: with a negative scale the first is the last pixel
  /// of the window.
  std::size_t count() const { return results_.size(); }
  bool mirrored() const { return mirrored_; }
  std::size_t firstPair(std::size_t result) const { return results_[result].firstPair; }
  std::span<const std::uint32_t> pairs(std::size_t result) const {
    return {weights_.data() + results_[result].weights, results_[result].pairs};
  }
  std::size_t endPair(std::size_t result) const {
    return results_[result].firstPair + results_[result].pairs;
  }
  /// The maximum number of pairs of a result.
  std::size_t maxPairs() const { return maxPairs_; }
  /// The stored samples that any result takes, widened to whole pairs.
  PixelRange needed() const;
  /// Counts samples from `first` on, which is even and not after the first needed one.
  void startAt(std::size_t first);

 private:
  struct Taps {
    std::size_t firstPair = 0;
    std::size_t weights = 0;
    std::size_t pairs = 0;
  };

  /// Adds the result of those taps from the sample `first` on; `sums` is memory to work in.
  void append(std::ptrdiff_t first, const std::vector<double>& taps, std::vector<double>& sums,
              const PixelRange& source);

  bool mirrored_;
  std::size_t maxPairs_ = 0;
  std::vector<Taps> results_;
  std::vector<std::uint32_t> weights_;
};

}  // namespace vecamera::device::imaging
