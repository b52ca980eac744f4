#include "device/imaging/resample/Resample.h"
#include "device/imaging/resample/ResampleKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

/// An axis of so many pixels on a canvas of 100, of which it fills what it touches.
AxisPlacement axisOf(double scale, double offset, std::size_t length) {
  AxisPlacement axis{scale, offset, length, {0, length}, {}, {}};
  const double first = std::floor(std::max(offset, 0.0));
  const double last = std::ceil(std::min(offset + scale * static_cast<double>(length), 100.0));
  if (last > first)
    axis.window = {static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)};
  return axis;
}

TEST(ResampleTest, AFlatPictureStaysFlatAtAnyScaleAndPlace) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> exponent(-8, 5);
  std::uniform_real_distribution<double> offset(-50, 50);
  const Rgba color{0x99, 0x66, 0x33, 0xCC};
  const auto flat = [&](std::size_t, std::size_t) { return color; };
  int drawn = 0;
  for (int round = 0; round < 1500; ++round) {
    const std::size_t width = 1 + random() % (round % 10 ? 60 : 2000);
    const std::size_t height = 1 + random() % 60;
    const double scaleX = std::exp(exponent(random));
    const AxisPlacement x = axisOf(scaleX, offset(random), width);
    const double scaleY = std::exp(exponent(random));
    const AxisPlacement y = axisOf(scaleY, offset(random), height);
    if (x.window.count == 0 || y.window.count == 0) continue;
    ++drawn;
    const auto result = resample(bitmapOf(width, height, flat), x, y);
    ASSERT_TRUE(result);
    ASSERT_LE(largestDifference(*result, bitmapOf(x.window.count, y.window.count, flat)), 1)
        << width << " x " << height << ", " << x.scale << " + " << x.offset << ", " << y.scale
        << " + " << y.offset;
  }
  EXPECT_GT(drawn, 300);
}

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
  // As far beyond black and white as the samples of a hostile picture are, but for sums that a
  // 32-bit number does not hold.
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

TEST(SimdTest, InstructionsOfTheProcessorGiveWhatTheDefinitionsGive) {
  std::mt19937 random(12);
  const auto same = [](auto a, auto b) { return std::memcmp(&a, &b, sizeof a) == 0; };
  for (int round = 0; round < 1000; ++round) {
    Words8 a;
    Words8 b;
    Ints4 c;
    for (std::size_t i = 0; i < 8; ++i) a[i] = static_cast<std::int16_t>(random() % 0xFFFF);
    for (std::size_t i = 0; i < 8; ++i) b[i] = static_cast<std::int16_t>(random() % 0x1FF);
    for (std::size_t i = 0; i < 4; ++i) c[i] = static_cast<std::int32_t>(random()) >> round % 20;
    EXPECT_TRUE(same(portable::multiplyHigh(a, b), imaging::multiplyHigh(a, b)));
    EXPECT_TRUE(same(portable::multiplyAddPairs(a, b), imaging::multiplyAddPairs(a, b)));
    EXPECT_TRUE(same(portable::packSaturated<Words8>(c, c), imaging::packSaturated<Words8>(c, c)));
    EXPECT_TRUE(
        same(portable::packSaturated<Bytes16>(a, b), imaging::packSaturated<Bytes16>(a, b)));
  }
}

TEST(AxisPlacementTest, SamplesOfPixelsAreThoseThatShowAnyOfThem) {
  const auto samplesOf = [](PixelRange pixels, double step, std::size_t count) {
    return AxisPlacement{1, 0, 100, pixels, {}, {}}.sampled(step, count).usable;
  };
  constexpr double third = 8.0 / 3;
  EXPECT_EQ(samplesOf({0, 100}, 8, 13), (PixelRange{0, 13}));
  EXPECT_EQ(samplesOf({8, 16}, 8, 13), (PixelRange{1, 2}));
  EXPECT_EQ(samplesOf({9, 16}, 8, 13), (PixelRange{1, 3}));
  // Ends of a sample, which thirds reach only nearly.
  for (std::size_t i = 1; i < 200; ++i)
    EXPECT_EQ(samplesOf({8 * i, 8 * i}, third, 1200), (PixelRange{3 * i, 3 * i}));
  EXPECT_EQ(samplesOf({7, 2}, third, 38), (PixelRange{2, 2}));
  EXPECT_EQ(samplesOf({100, 1}, third, 38), (PixelRange{37, 1}));
}

TEST(AxisWeightsTest, AddUpToOneAndStayInsideOfWhatIsUsable) {
  for (const double scale : {0.02, 0.3, 0.77, 1.0, 1.5, 9.0, -0.4, -1.0, -3.3})
    for (const double offset : {0.0, 0.37, 12.0}) {
      const PixelRange usable{5, 31};
      const AxisWeights weights(
          AxisPlacement{scale, offset + (scale < 0 ? -scale * 40 : 0), 40, usable, {0, 12}, {}});
      for (std::size_t i = 0; i < weights.count(); ++i) {
        int sum = 0;
        std::size_t pixel = 2 * weights.firstPair(i);
        for (const std::uint32_t pair : weights.pairs(i))
          for (const int weight :
               {static_cast<std::int16_t>(pair & 0xFFFF), static_cast<std::int16_t>(pair >> 16)}) {
            sum += weight;
            EXPECT_TRUE(weight == 0 || (pixel >= usable.first && pixel < usable.end()))
                << scale << " at " << pixel;
            ++pixel;
          }
        EXPECT_EQ(sum, AxisWeights::one);
      }
    }
}

}  // namespace
}  // namespace vecamera::device::imaging
