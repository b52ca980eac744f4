#pragma once

#include <array>

#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {

/// Makes samples of the blocks of a component at a part of their size: the inverse cosine transform
/// of that length, of the lowest coefficients. Where the library takes the mean of the pixels that
/// a sample spans, as it does at a half and a quarter, about twice as much aliasing is left. Takes
/// any coefficients: those that no encoder makes give samples without a meaning.
class ScaledIdct {
 public:
  /// As libjpeg has it.
  using Block = std::int16_t[64];
  /// How many samples, along both axes, can come out of a block.
  static constexpr std::array<unsigned, 5> sizes{1, 2, 3, 4, 6};
  static constexpr unsigned maxSamples = sizes.back();
  /// Where more than the mean comes out of a block, edges overshoot black and white. The resampler
  /// needs the overshoot, or it would give means that are too grey.
  static constexpr SampleFormat formatOf(unsigned samples) {
    return samples == 1 ? SampleFormat::byte : SampleFormat::word;
  }
  /// A row of samples has room for so many blocks more than there are, with all 8 samples of each.
  static constexpr std::size_t extraBlocks = 8;
  using Quantization = std::array<std::array<int, maxSamples>, maxSamples>;

  ScaledIdct() = default;
  /// `table` holds the 64 steps of the component's quantization, row after row; without a table all
  /// samples come out alike.
  ScaledIdct(unsigned samples, const std::uint16_t* table);

  /// What becomes of the coefficients that were read.
  enum class AfterUse { keep, clear };
  /// Makes `samples` rows of the blocks of one row, as a `PlaneScaler` takes them.
  void transform(Block* blocks, std::size_t count, AfterUse after, std::uint8_t* const* rows) const;

 private:
  unsigned samples_ = 1;
  Quantization quantization_{};
};

}  // namespace vecamera::device::imaging
