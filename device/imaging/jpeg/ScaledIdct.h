#pragma once

// jpeglib.h needs the two before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <array>
#include <cstdint>

#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {

/// Makes samples of the blocks of a component at a part of their size. Of each block only the
/// lowest coefficients are used, as many both ways as samples come out, with the inverse cosine
/// transform of that length. Where the library takes the mean of the pixels that a sample spans, as
/// it does at a half and a quarter, about twice as much is left of what is finer than the samples.
/// Takes any coefficients: those that no encoder makes give samples without a meaning.
class ScaledIdct {
 public:
  /// So many samples, both ways, can come out of a block.
  static constexpr std::array<unsigned, 5> sizes{1, 2, 3, 4, 6};
  static constexpr unsigned mostSamples = sizes.back();
  /// Where more than means come out of blocks, edges throw them beyond black and white, and that
  /// has to go into the mixing.
  static constexpr SampleFormat unitOf(unsigned samples) {
    return samples == 1 ? SampleFormat::byte : SampleFormat::word;
  }
  /// For so many blocks more than there are a row of samples has room, with all 8 samples of each.
  static constexpr std::size_t moreBlocks = 8;
  using Steps = std::array<std::array<int, mostSamples>, mostSamples>;

  ScaledIdct() = default;
  /// `steps` are the 64 of the component's quantization, row after row; without them all samples
  /// come out alike.
  ScaledIdct(unsigned samples, const UINT16* steps);

  /// Makes `samples` rows of the blocks of one row, as a `PlaneScaler` takes them. `clears` sets
  /// the coefficients that were read to zero.
  void scale(JBLOCK* blocks, std::size_t count, bool clears, std::uint8_t* const* rows) const;

 private:
  unsigned samples_ = 1;
  Steps steps_{};
};

}  // namespace vecamera::device::imaging
