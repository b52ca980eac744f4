#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vecamera::device::imaging {

/// How one axis of a bitmap lies on that of a canvas: canvas = scale * bitmap + offset. The scale
/// is not zero; a negative one mirrors.
struct AxisMap {
  double scale = 1;
  double offset = 0;
};

/// A range of whole pixels of an axis.
struct PixelRange {
  std::size_t first = 0;
  std::size_t count = 0;
  std::size_t end() const { return first + count; }
  friend bool operator==(const PixelRange&, const PixelRange&) = default;
};

/// For every pixel of a window of the canvas axis, the pixels of the source axis that it is mixed
/// from. Shrinking filters with Lanczos' kernel of three lobes, enlarging with the cubic of Catmull
/// and Rom; a map that moves by whole pixels copies. What the filter would take from outside of the
/// usable source pixels, it takes from the nearest of them.
///
/// Weights are whole numbers that add up to `one`, so that results are the same on every processor
/// and a flat picture stays as it is. They come in pairs for the source pixels 2n and 2n + 1: the
/// weight of the even pixel in the low 16 bits, that of the odd one in the high 16 bits.
class AxisWeights {
 public:
  static constexpr int oneBits = 14;
  static constexpr int one = 1 << oneBits;
  /// Scales further from 1 than this lose precision to the whole numbers.
  static constexpr double minScale = 1.0 / 64;

  AxisWeights(const AxisMap& map, const PixelRange& window, const PixelRange& usable);

  /// Results are numbered along the source axis: with a negative scale the first is the last pixel
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
  /// The most pairs that a result takes.
  std::size_t maxPairs() const { return maxPairs_; }
  /// The source pixels that any result takes, widened to whole pairs.
  PixelRange needed() const;
  /// Counts source pixels from a later one, which is even and not after the first needed one.
  void startAt(std::size_t sourcePixel);

 private:
  struct Result {
    std::size_t firstPair = 0;
    std::size_t weights = 0;
    std::size_t pairs = 0;
  };

  /// What is used for one result after the other.
  struct Workspace {
    std::vector<double> taps;
    std::vector<double> exact;
    std::vector<int> whole;
  };
  void append(std::ptrdiff_t first, Workspace& work, const PixelRange& usable);

  bool mirrored_;
  std::size_t maxPairs_ = 0;
  std::vector<Result> results_;
  std::vector<std::uint32_t> weights_;
};

}  // namespace vecamera::device::imaging
