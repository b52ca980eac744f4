#include "device/imaging/resample/ResampleKernels.h"

#include <algorithm>
#include <array>
#include <limits>
#include <random>

namespace vecamera::device::imaging {
namespace {

/// What the kernels are to give: the weighted sums, rounded, within the range of the samples.
template <typename To, typename From>
std::vector<To> convolved(const std::vector<From>& rows, const AxisWeights& weights, int bits) {
  using Limits = std::numeric_limits<To>;
  std::vector<To> result;
  for (std::size_t i = 0; i < weights.count(); ++i)
    for (std::size_t at = 0; at < tileSamples; ++at) {
      std::int64_t sum = std::int64_t{1} << (bits - 1);
      std::size_t row = 2 * weights.firstPair(i);
      for (const std::uint32_t pair : weights.pairs(i))
        for (const int weight :
             {static_cast<std::int16_t>(pair & 0xFFFF), static_cast<std::int16_t>(pair >> 16)})
          sum += weight * rows[row++ * tileSamples + at];
      result.push_back(
          static_cast<To>(std::clamp<std::int64_t>(sum >> bits, Limits::min(), Limits::max())));
    }
  return result;
}

TEST(ResampleKernelsTest, EveryLevelConvolvesAlike) {
  std::mt19937 random(11);
  const AxisWeights weights(AxisPlacement{0.3, 0, 40, {0, 40}, {0, 12}, {}});
  std::vector<std::uint8_t> rows(40 * tileSamples);
  for (auto& byte : rows) byte = static_cast<std::uint8_t>(random());
  // They overshoot as far as the samples of a hostile picture, but for sums that a 32-bit number
  // does not hold.
  std::vector<std::int16_t> wordRows(40 * tileSamples);
  for (auto& word : wordRows) word = static_cast<std::int16_t>(random());
  constexpr std::size_t pairs = 32;
  constexpr int bits = AxisWeights::fractionBits;
  const auto bytes = convolved<std::uint8_t>(rows, weights, bits);
  const auto words = convolved<std::int16_t>(wordRows, weights, bits);
  const auto bytesOfWords = convolved<std::uint8_t>(wordRows, weights, bits + wordFractionBits);
  for (const SimdLevel level : {SimdLevel::baseline, SimdLevel::sse41, SimdLevel::avx2}) {
    if (level > simdLevel()) break;
    const ResampleKernels& kernels = resampleKernels(level);
    alignas(64) std::array<std::int16_t, pairs * tilePairSamples> samples{};
    const TileRing ring{samples.data(), pairs - 1};
    for (std::size_t y = 0; y < 40; y += 2)
      kernels.interleave(rows.data() + y * tileSamples, rows.data() + (y + 1) * tileSamples,
                         ring.pair(y / 2));
    std::vector<std::uint8_t> toBytes(12 * tileSamples);
    std::vector<std::int16_t> toWords(12 * tileSamples);
    kernels.bytesToBytes(ring, weights, 0, 12, toBytes.data(), tileSamples);
    EXPECT_EQ(toBytes, bytes);
    for (std::size_t y = 0; y < 40; y += 2)
      interleaveWords(wordRows.data() + y * tileSamples, wordRows.data() + (y + 1) * tileSamples,
                      ring.pair(y / 2));
    kernels.wordsToWords(ring, weights, 0, 12, toWords.data(), tileSamples);
    EXPECT_EQ(toWords, words);
    kernels.wordsToBytes(ring, weights, 0, 12, toBytes.data(), tileSamples);
    EXPECT_EQ(toBytes, bytesOfWords);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
