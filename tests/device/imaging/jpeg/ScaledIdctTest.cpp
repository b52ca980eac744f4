#include "device/imaging/jpeg/ScaledIdct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t blockSide = 8;
constexpr std::size_t blockSize = 64;

struct Component {
  std::vector<std::array<std::int16_t, blockSize>> blocks;
  std::array<std::uint16_t, blockSize> steps{};

  ScaledIdct::Block* data() { return reinterpret_cast<ScaledIdct::Block*>(blocks.data()); }
};

double cosine(std::size_t k, std::size_t place, std::size_t length) {
  return (k == 0 ? std::sqrt(0.5) : 1.0) *
         std::cos(std::numbers::pi * static_cast<double>((2 * place + 1) * k) /
                  static_cast<double>(2 * length));
}

/// Coefficients as an encoder makes them of noise in black and white, of single edges, and of what
/// is even, which go far beyond white and black.
Component componentOf(std::size_t count, std::uint16_t step, std::mt19937& random) {
  Component component;
  for (std::size_t i = 0; i < blockSize; ++i)
    component.steps[i] = static_cast<std::uint16_t>(std::min<std::size_t>(255, step * (1 + i / 8)));
  for (std::size_t block = 0; block < count; ++block) {
    std::array<double, blockSize> pixels;
    for (std::size_t i = 0; i < blockSize; ++i) {
      const bool white = block % 3 == 0 ? random() % 2 == 0
                         : block % 3 == 1
                             ? i % blockSide + i / blockSide > random() % 2 + block % 15
                             : block % 2 == 0;
      pixels[i] = white ? 127 : -128;
    }
    auto& coefficients = component.blocks.emplace_back();
    for (std::size_t v = 0; v < blockSide; ++v)
      for (std::size_t u = 0; u < blockSide; ++u) {
        double sum = 0;
        for (std::size_t i = 0; i < blockSize; ++i)
          sum += pixels[i] * cosine(u, i % blockSide, blockSide) *
                 cosine(v, i / blockSide, blockSide) / 4;
        const std::size_t at = v * blockSide + u;
        coefficients[at] = static_cast<std::int16_t>(std::lround(sum / component.steps[at]));
      }
  }
  return component;
}

/// A sample of a row that was made of blocks.
double sampleAt(const std::uint8_t* row, std::size_t x, unsigned length) {
  if (ScaledIdct::formatOf(length) == SampleFormat::byte) return row[x];
  return reinterpret_cast<const std::int16_t*>(row)[x] / 8.0;
}

/// What the transform of that length makes of the lowest coefficients: means within black and
/// white.
double exactSample(const Component& component, std::size_t block, std::size_t x, std::size_t y,
                   std::size_t length) {
  double sum = 0;
  for (std::size_t v = 0; v < length; ++v)
    for (std::size_t u = 0; u < length; ++u) {
      const std::size_t at = v * blockSide + u;
      sum += component.blocks[block][at] * component.steps[at] * cosine(u, x, length) *
             cosine(v, y, length) / 4;
    }
  return length == 1 ? std::clamp(sum + 128, 0.0, 255.0) : sum + 128;
}

TEST(ScaledIdctTest, SamplesAreThoseOfTheLowestCoefficients) {
  std::mt19937 random(3);
  for (const unsigned length : ScaledIdct::sizes)
    for (const std::uint16_t step : {1, 7, 60, 255})
      for (const std::size_t count : {1u, 7u, 8u, 21u}) {
        SCOPED_TRACE(std::to_string(length) + " of " + std::to_string(count) + " blocks");
        Component component = componentOf(count, step, random);
        const Component before = component;
        const std::size_t stride = (count + ScaledIdct::extraBlocks) * blockSide;
        std::vector<std::int16_t> words(stride * length);
        std::vector<std::uint8_t*> rows;
        for (std::size_t y = 0; y < length; ++y)
          rows.push_back(reinterpret_cast<std::uint8_t*>(words.data() + y * stride));
        const ScaledIdct idct(length, component.steps.data());
        idct.transform(component.data(), count, ScaledIdct::AfterUse::keep, rows.data());
        EXPECT_EQ(component.blocks, before.blocks);
        double max = 0;
        for (std::size_t y = 0; y < length; ++y)
          for (std::size_t x = 0; x < length * count; ++x)
            max = std::max(max, std::abs(sampleAt(rows[y], x, length) -
                                         exactSample(before, x / length, x % length, y, length)));
        EXPECT_LE(max, 0.51);
      }
}

TEST(ScaledIdctTest, CoarseQuantizationMayOvershootWhiteByFar) {
  Component component;
  component.steps.fill(255);
  auto& block = component.blocks.emplace_back();
  for (const std::size_t at : {0, 1, 8, 9}) block[at] = 4;
  for (const unsigned length : {2u, 3u, 4u, 6u}) {
    std::vector<std::int16_t> words(9 * blockSide);
    std::vector<std::int16_t> others(9 * blockSide);
    std::vector<std::uint8_t*> rows(length, reinterpret_cast<std::uint8_t*>(others.data()));
    rows[0] = reinterpret_cast<std::uint8_t*>(words.data());
    ScaledIdct(length, component.steps.data())
        .transform(component.data(), 1, ScaledIdct::AfterUse::keep, rows.data());
    EXPECT_GT(words[0], 8 * 600);
    EXPECT_NEAR(words[0] / 8.0, exactSample(component, 0, 0, 0, length), 0.5);
  }
}

TEST(ScaledIdctTest, WhatWasReadIsCleared) {
  std::mt19937 random(4);
  for (const unsigned length : {2u, 3u, 4u, 6u}) {
    Component component = componentOf(11, 1, random);
    const Component before = component;
    std::vector<std::uint8_t> memory(128 * 20);
    std::vector<std::uint8_t*> rows(length, memory.data());
    ScaledIdct(length, component.steps.data())
        .transform(component.data(), 10, ScaledIdct::AfterUse::clear, rows.data());
    for (std::size_t block = 0; block < 10; ++block)
      for (std::size_t y = 0; y < length; ++y)
        for (std::size_t x = 0; x < length; ++x)
          EXPECT_EQ(component.blocks[block][y * blockSide + x], 0);
    EXPECT_EQ(component.blocks[10], before.blocks[10]);
  }
}

TEST(ScaledIdctTest, CoefficientsThatNoEncoderMakesGiveSomeSamples) {
  std::mt19937 random(5);
  Component component;
  for (int i = 0; i < 9; ++i)
    for (std::int16_t& coefficient : component.blocks.emplace_back())
      coefficient = static_cast<std::int16_t>(random());
  for (std::uint16_t& step : component.steps) step = static_cast<std::uint16_t>(random());
  for (const unsigned length : ScaledIdct::sizes) {
    std::vector<std::int16_t> words(17 * blockSide);
    std::vector<std::uint8_t*> rows(length, reinterpret_cast<std::uint8_t*>(words.data()));
    ScaledIdct(length, component.steps.data())
        .transform(component.data(), 9, ScaledIdct::AfterUse::keep, rows.data());
    // Of a component without a quantization table: grey.
    ScaledIdct(length, nullptr)
        .transform(component.data(), 9, ScaledIdct::AfterUse::keep, rows.data());
    for (std::size_t x = 0; x < 9 * length; ++x) EXPECT_EQ(sampleAt(rows[0], x, length), 128);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
