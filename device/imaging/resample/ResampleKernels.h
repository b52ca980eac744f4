#pragma once

#include "device/imaging/base/Simd.h"
#include "device/imaging/resample/AxisWeights.h"

namespace vecamera::device::imaging {

// The inner loops of resampling. They work on tiles: 64 neighbouring samples of many rows. Rows
// come in pairs, and a tile keeps a pair as 64 times two 16-bit numbers, the upper row's first,
// which is how the processor multiplies and adds two rows at once. A sample is a byte, or a word: a
// fixed-point number that may be less than 0 or more than 255.

inline constexpr std::size_t tileSamples = 64;
inline constexpr std::size_t tilePairSamples = 2 * tileSamples;
inline constexpr int wordFractionBits = 3;

/// The pairs of one tile in a ring buffer whose length is a power of two.
struct TileRing {
  std::int16_t* samples;
  std::size_t mask;

  std::int16_t* pair(std::size_t index) const { return samples + (index & mask) * tilePairSamples; }
};

struct ResampleKernels {
  /// Puts 64 bytes of two rows into one pair.
  void (*interleave)(const std::uint8_t* upper, const std::uint8_t* lower, std::int16_t* pair);
  /// Makes the rows of results `first` to `last` (not included), each `stride` samples behind the
  /// one before.
  template <typename Sample>
  using Convolve = void (*)(const TileRing& ring, const AxisWeights& weights, std::size_t first,
                            std::size_t last, Sample* tile, std::ptrdiff_t stride);
  Convolve<std::uint8_t> bytesToBytes;
  Convolve<std::int16_t> wordsToWords;
  Convolve<std::uint8_t> wordsToBytes;
};

/// Those of a level that the processor runs. All levels give the same samples.
const ResampleKernels& resampleKernels(SimdLevel level = simdLevel());

/// Puts 64 words of two rows into one pair.
void interleaveWords(const std::int16_t* upper, const std::int16_t* lower, std::int16_t* pair);

}  // namespace vecamera::device::imaging
