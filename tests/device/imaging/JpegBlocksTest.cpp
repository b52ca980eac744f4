#include "device/imaging/jpeg/ScaledIdct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace vecamera::device::imaging {
namespace {

struct Component {
  std::vector<std::array<JCOEF, DCTSIZE2>> blocks;
  std::array<UINT16, DCTSIZE2> steps{};

  JBLOCK* data() { return reinterpret_cast<JBLOCK*>(blocks.data()); }
};

double cosine(std::size_t k, std::size_t place, std::size_t length) {
  return (k == 0 ? std::sqrt(0.5) : 1.0) *
         std::cos(std::numbers::pi * static_cast<double>((2 * place + 1) * k) /
                  static_cast<double>(2 * length));
}

/// Coefficients as an encoder makes them of noise in black and white, of single edges, and of what
/// is even, which go far beyond white and black.
Component componentOf(std::size_t count, UINT16 step, std::mt19937& random) {
  Component component;
  for (std::size_t i = 0; i < DCTSIZE2; ++i)
    component.steps[i] = static_cast<UINT16>(std::min<std::size_t>(255, step * (1 + i / 8)));
  for (std::size_t block = 0; block < count; ++block) {
    std::array<double, DCTSIZE2> pixels;
    for (std::size_t i = 0; i < DCTSIZE2; ++i) {
      const bool white = block % 3 == 0   ? random() % 2 == 0
                         : block % 3 == 1 ? i % DCTSIZE + i / DCTSIZE > random() % 2 + block % 15
                                          : block % 2 == 0;
      pixels[i] = white ? 127 : -128;
    }
    auto& coefficients = component.blocks.emplace_back();
    for (std::size_t v = 0; v < DCTSIZE; ++v)
      for (std::size_t u = 0; u < DCTSIZE; ++u) {
        double sum = 0;
        for (std::size_t i = 0; i < DCTSIZE2; ++i)
          sum += pixels[i] * cosine(u, i % DCTSIZE, DCTSIZE) * cosine(v, i / DCTSIZE, DCTSIZE) / 4;
        const std::size_t at = v * DCTSIZE + u;
        coefficients[at] = static_cast<JCOEF>(std::lround(sum / component.steps[at]));
      }
  }
  return component;
}

/// A sample of a row that was made of blocks.
double sampleAt(const std::uint8_t* row, std::size_t x, unsigned length) {
  if (ScaledIdct::unitOf(length) == SampleFormat::byte) return row[x];
  return reinterpret_cast<const std::int16_t*>(row)[x] / 8.0;
}

/// What the transform of that length makes of the lowest coefficients: means within black and
/// white.
double exactSample(const Component& component, std::size_t block, std::size_t x, std::size_t y,
                   std::size_t length) {
  double sum = 0;
  for (std::size_t v = 0; v < length; ++v)
    for (std::size_t u = 0; u < length; ++u) {
      const std::size_t at = v * DCTSIZE + u;
      sum += component.blocks[block][at] * component.steps[at] * cosine(u, x, length) *
             cosine(v, y, length) / 4;
    }
  return length == 1 ? std::clamp(sum + 128, 0.0, 255.0) : sum + 128;
}

TEST(JpegBlocks, SamplesAreThoseOfTheLowestCoefficients) {
  std::mt19937 random(3);
  for (const unsigned length : ScaledIdct::sizes)
    for (const UINT16 step : {1, 7, 60, 255})
      for (const std::size_t count : {1u, 7u, 8u, 21u}) {
        SCOPED_TRACE(std::to_string(length) + " of " + std::to_string(count) + " blocks");
        Component component = componentOf(count, step, random);
        const Component before = component;
        const std::size_t stride = (count + ScaledIdct::moreBlocks) * DCTSIZE;
        std::vector<std::int16_t> words(stride * length);
        std::vector<std::uint8_t*> rows;
        for (std::size_t y = 0; y < length; ++y)
          rows.push_back(reinterpret_cast<std::uint8_t*>(words.data() + y * stride));
        const ScaledIdct scaler(length, component.steps.data());
        scaler.scale(component.data(), count, false, rows.data());
        EXPECT_EQ(component.blocks, before.blocks);
        double most = 0;
        for (std::size_t y = 0; y < length; ++y)
          for (std::size_t x = 0; x < length * count; ++x)
            most = std::max(most, std::abs(sampleAt(rows[y], x, length) -
                                           exactSample(before, x / length, x % length, y, length)));
        EXPECT_LE(most, 0.51);
      }
}

TEST(JpegBlocks, CoarseStepsMayGoFarBeyondWhite) {
  Component component;
  component.steps.fill(255);
  auto& block = component.blocks.emplace_back();
  for (const std::size_t at : {0, 1, 8, 9}) block[at] = 4;
  for (const unsigned length : {2u, 3u, 4u, 6u}) {
    std::vector<std::int16_t> words(9 * DCTSIZE);
    std::vector<std::int16_t> others(9 * DCTSIZE);
    std::vector<std::uint8_t*> rows(length, reinterpret_cast<std::uint8_t*>(others.data()));
    rows[0] = reinterpret_cast<std::uint8_t*>(words.data());
    ScaledIdct(length, component.steps.data()).scale(component.data(), 1, false, rows.data());
    EXPECT_GT(words[0], 8 * 600);
    EXPECT_NEAR(words[0] / 8.0, exactSample(component, 0, 0, 0, length), 0.5);
  }
}

TEST(JpegBlocks, WhatWasReadIsCleared) {
  std::mt19937 random(4);
  for (const unsigned length : {2u, 3u, 4u, 6u}) {
    Component component = componentOf(11, 1, random);
    const Component before = component;
    std::vector<std::uint8_t> memory(128 * 20);
    std::vector<std::uint8_t*> rows(length, memory.data());
    ScaledIdct(length, component.steps.data()).scale(component.data(), 10, true, rows.data());
    for (std::size_t block = 0; block < 10; ++block)
      for (std::size_t y = 0; y < length; ++y)
        for (std::size_t x = 0; x < length; ++x)
          EXPECT_EQ(component.blocks[block][y * DCTSIZE + x], 0);
    EXPECT_EQ(component.blocks[10], before.blocks[10]);
  }
}

TEST(JpegBlocks, CoefficientsThatNoEncoderMakesGiveSomeSamples) {
  std::mt19937 random(5);
  Component component;
  for (int i = 0; i < 9; ++i)
    for (JCOEF& coefficient : component.blocks.emplace_back())
      coefficient = static_cast<JCOEF>(random());
  for (UINT16& step : component.steps) step = static_cast<UINT16>(random());
  for (const unsigned length : ScaledIdct::sizes) {
    std::vector<std::int16_t> words(17 * DCTSIZE);
    std::vector<std::uint8_t*> rows(length, reinterpret_cast<std::uint8_t*>(words.data()));
    ScaledIdct(length, component.steps.data()).scale(component.data(), 9, false, rows.data());
    // Of a component without steps: grey.
    ScaledIdct(length, nullptr).scale(component.data(), 9, false, rows.data());
    for (std::size_t x = 0; x < 9 * length; ++x)
      EXPECT_EQ(sampleAt(rows[0], x, length), CENTERJSAMPLE);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
