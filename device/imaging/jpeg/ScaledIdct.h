#pragma once

#include <array>

#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {

/// Decodes the blocks of a component to fewer samples than they have pixels: an inverse cosine
/// transform of that length, of the lowest coefficients. It leaves about half of the aliasing that
/// libjpeg leaves at a half and a quarter, where it averages pixels. Any coefficients are safe;
/// those that no encoder makes give meaningless samples.
class ScaledIdct {
 public:
  /// As libjpeg has it.
  using Block = std::int16_t[64];
  /// How many samples, along both axes, can come out of a block.
  static constexpr std::array<unsigned, 5> sizes{1, 2, 3, 4, 6};
  static constexpr unsigned maxSamples = sizes.back();
  /// Where a block gives more than its mean, edges overshoot black and white. Words keep the
  /// overshoot: if it were cut off, the resampler would make edges too grey.
  static constexpr SampleFormat formatOf(unsigned samples) {
    return samples == 1 ? SampleFormat::byte : SampleFormat::word;
  }
  /// A row has room for so many blocks more than there are, with 8 samples each.
  static constexpr std::size_t extraBlocks = 8;
  using Quantization = std::array<std::array<int, maxSamples>, maxSamples>;

  ScaledIdct() = default;
  /// `table` is the component's quantization table, 64 numbers, row after row. Null gives grey.
  ScaledIdct(unsigned samples, const std::uint16_t* table);

  /// What is done to the coefficients that were read.
  enum class AfterUse { keep, clear };
  /// Makes `samples` rows of the blocks of one row, as a `PlaneScaler` takes them.
  void transform(Block* blocks, std::size_t count, AfterUse after, std::uint8_t* const* rows) const;

 private:
  unsigned samples_ = 1;
  Quantization quantization_{};
};

}  // namespace vecamera::device::imaging
