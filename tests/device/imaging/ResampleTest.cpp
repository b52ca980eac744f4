#include "device/imaging/pipeline/Placement.h"
#include "device/imaging/resample/Resample.h"
#include "device/imaging/resample/ResampleKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

/// The pixels of a canvas of 100 that a bitmap of that length touches.
PixelRange touched(const AxisMap& map, std::size_t length) {
  const double first = std::floor(std::max(map.offset, 0.0));
  const double last =
      std::ceil(std::min(map.offset + map.scale * static_cast<double>(length), 100.0));
  if (last <= first) return {};
  return {static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)};
}

TEST(Resample, AFlatPictureStaysFlatAtAnyScaleAndPlace) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> exponent(-8, 5);
  std::uniform_real_distribution<double> offset(-50, 50);
  const Rgba color{0x99, 0x66, 0x33, 0xCC};
  const auto flat = [&](std::size_t, std::size_t) { return color; };
  int drawn = 0;
  for (int round = 0; round < 1500; ++round) {
    const std::size_t width = 1 + random() % (round % 10 ? 60 : 2000);
    const std::size_t height = 1 + random() % 60;
    const AxisMap x{std::exp(exponent(random)), offset(random)};
    const AxisMap y{std::exp(exponent(random)), offset(random)};
    const PixelRange columns = touched(x, width);
    const PixelRange rows = touched(y, height);
    if (columns.count == 0 || rows.count == 0) continue;
    ++drawn;
    const auto result =
        resampled(bitmapOf(width, height, flat), x, y, columns, rows, {{0, width}, {0, height}});
    ASSERT_TRUE(result);
    ASSERT_LE(largestDifference(*result, bitmapOf(columns.count, rows.count, flat)), 1)
        << width << " x " << height << ", " << x.scale << " + " << x.offset << ", " << y.scale
        << " + " << y.offset;
  }
  EXPECT_GT(drawn, 300);
}

TEST(Resample, EveryProcessorMixesRowsAlike) {
  std::mt19937 random(11);
  const AxisWeights weights({0.3, 0}, {0, 12}, {0, 40});
  std::vector<std::uint8_t> rows(40 * tileNumbers);
  for (auto& byte : rows) byte = static_cast<std::uint8_t>(random());
  // As far beyond black and white as the samples of a hostile picture are.
  std::vector<std::int16_t> wordRows(40 * tileNumbers);
  for (auto& word : wordRows) word = static_cast<std::int16_t>(random());
  constexpr std::size_t pairs = 32;
  struct Result {
    std::vector<std::uint8_t> bytes;
    std::vector<std::int16_t> words;
    std::vector<std::uint8_t> bytesOfWords;
    bool operator==(const Result&) const = default;
  };
  std::vector<Result> results;
  for (const ResampleKernels& mixing : allResampleKernels()) {
    alignas(64) std::array<std::int16_t, pairs * tilePairNumbers> numbers{};
    const TileRing ring{numbers.data(), pairs - 1};
    for (std::size_t y = 0; y < 40; y += 2)
      mixing.interleave(rows.data() + y * tileNumbers, rows.data() + (y + 1) * tileNumbers,
                        ring.pair(y / 2));
    constexpr std::size_t size = 12 * tileNumbers;
    Result result{std::vector<std::uint8_t>(size), std::vector<std::int16_t>(size),
                  std::vector<std::uint8_t>(size)};
    mixing.bytesToBytes(ring, weights, 0, 12, result.bytes.data(), tileNumbers);
    for (std::size_t y = 0; y < 40; y += 2)
      interleaveWords(wordRows.data() + y * tileNumbers, wordRows.data() + (y + 1) * tileNumbers,
                      ring.pair(y / 2));
    mixing.wordsToWords(ring, weights, 0, 12, result.words.data(), tileNumbers);
    mixing.wordsToBytes(ring, weights, 0, 12, result.bytesOfWords.data(), tileNumbers);
    results.push_back(std::move(result));
  }
  for (const auto& result : results) EXPECT_TRUE(result == results.back());
}

TEST(Resample, SamplesOfPixelsAreThoseThatShowAnyOfThem) {
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

TEST(Resample, WeightsAddUpToOneAndStayInsideOfWhatIsUsable) {
  for (const double scale : {0.02, 0.3, 0.77, 1.0, 1.5, 9.0, -0.4, -1.0, -3.3})
    for (const double offset : {0.0, 0.37, 12.0}) {
      const PixelRange usable{5, 31};
      const AxisWeights weights({scale, offset + (scale < 0 ? -scale * 40 : 0)}, {0, 12}, usable);
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
