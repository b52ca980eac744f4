#include "device/imaging/jpeg/ScaledIdct.h"

// jpeglib.h needs those before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <cstring>
#include <utility>

#include "device/imaging/resample/ResampleKernels.h"

namespace vecamera::device::imaging {
namespace {

using Block = ScaledIdct::Block;
static_assert(std::is_same_v<Block, JBLOCK>);

/// One number of each of eight blocks. The numbers are signed; kept as unsigned ones, they may wrap
/// around, as those do that no encoder makes.
using Words = UnsignedWords8;
constexpr std::size_t blocksPerVector = lanes<Words>;

// The compiler keeps rows in registers, but not between functions.
#define VECAMERA_INLINE [[gnu::always_inline]] inline

template <std::size_t n>
using Row = std::array<Words, n>;

/// The results of the action for 0 to n - 1. These are constants to the compiler, so that it keeps
/// rows in registers, which it does not do in a loop.
template <std::size_t n, typename Action>
auto generate(Action action) {
  return [&]<std::size_t... i>(std::index_sequence<i...>) {
    return std::array{action(std::integral_constant<std::size_t, i>())...};
  }
  (std::make_index_sequence<n>());
}

/// Sums have so many more bits of fraction than words. They wrap where a sample is beyond 1023,
/// well over the 600 to which coarse quantization has been seen to overshoot.
constexpr int fractionBits = 2;
static_assert(wordFractionBits == 3);

/// `factor` is positive and less than a half.
Words multiplied(Words words, double factor) {
  const auto parts = static_cast<std::int16_t>(factor * 65536 + 0.5);
  return reinterpret_cast<Words>(multiplyHigh(reinterpret_cast<Words8>(words), Words8{} + parts));
}

// The transforms: sample j of n is c0 + sqrt(2) * sum of cosine(k * (2j + 1) * pi / 2n) * ck.

VECAMERA_INLINE Row<2> transformed(const Row<2>& c) {
  return {c[0] + c[1], c[0] - c[1]};
}

VECAMERA_INLINE Row<3> transformed(const Row<3>& c) {
  const Words odd = c[1] + multiplied(c[1], 0.224744871);
  const Words even = c[2] - multiplied(c[2], 0.292893219);
  return {c[0] + even + odd, c[0] - even - even, c[0] + even - odd};
}

VECAMERA_INLINE Row<4> transformed(const Row<4>& c) {
  const auto longer = [](Words word) { return word + multiplied(word, 0.306562965); };
  const auto shorter = [](Words word) { return word - multiplied(word, 0.458803900); };
  const Words outer = longer(c[1]) + shorter(c[3]);
  const Words inner = shorter(c[1]) - longer(c[3]);
  const Words even = c[0] + c[2];
  const Words odd = c[0] - c[2];
  return {even + outer, odd + inner, odd - inner, even - outer};
}

VECAMERA_INLINE Row<6> transformed(const Row<6>& c) {
  const Row<3> even = transformed(Row<3>{c[0], c[2], c[4]});
  const Words both = multiplied(c[1] + c[5], 0.366025404);
  const Words outer = c[1] + c[3] + both;
  const Words middle = c[1] - c[3] - c[5];
  const Words inner = c[5] - c[3] + both;
  return {even[0] + outer, even[1] + middle, even[2] + inner,
          even[2] - inner, even[1] - middle, even[0] - outer};
}

Words low32(Words a, Words b) {
  return __builtin_shufflevector(a, b, 0, 1, 8, 9, 2, 3, 10, 11);
}
Words high32(Words a, Words b) {
  return __builtin_shufflevector(a, b, 4, 5, 12, 13, 6, 7, 14, 15);
}
Words low64(Words a, Words b) {
  return __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
}
Words high64(Words a, Words b) {
  return __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
}

/// Four words of each block, two blocks in each row.
VECAMERA_INLINE Row<4> interleaveFour(Words a, Words b, Words c, Words d) {
  const Words first = interleavedLow(a, b);
  const Words second = interleavedLow(c, d);
  const Words third = interleavedHigh(a, b);
  const Words fourth = interleavedHigh(c, d);
  return {low32(first, second), high32(first, second), low32(third, fourth), high32(third, fourth)};
}

/// Four coefficients of two blocks.
Words startsOf(const JCOEF* first, const JCOEF* second) {
  std::int64_t both[2];
  std::memcpy(&both[0], first, sizeof both[0]);
  std::memcpy(&both[1], second, sizeof both[1]);
  Words words;
  std::memcpy(&words, both, sizeof words);
  return words;
}

/// Four coefficients of each block, from that one on.
VECAMERA_INLINE Row<4> coefficients(const Block* blocks, std::size_t first) {
  const auto starts =
      generate<4>([&](auto i) { return startsOf(blocks[i] + first, blocks[i + 4] + first); });
  const Row<4> pairs = interleaveFour(starts[0], starts[1], starts[2], starts[3]);
  return {low64(pairs[0], pairs[2]), high64(pairs[0], pairs[2]), low64(pairs[1], pairs[3]),
          high64(pairs[1], pairs[3])};
}

Words wordsOf(Words sums) {
  return reinterpret_cast<Words>(reinterpret_cast<Words8>(sums) >> fractionBits);
}

VECAMERA_INLINE void store(const Row<2>& words, std::uint8_t* to) {
  const Row<2> row{interleavedLow(words[0], words[1]), interleavedHigh(words[0], words[1])};
  std::memcpy(to, row.data(), sizeof row);
}

VECAMERA_INLINE void store(const Row<3>& words, std::uint8_t* to) {
  const Row<4> row = interleaveFour(words[0], words[1], words[2], words[2]);
  std::uint64_t blocks[blocksPerVector];
  std::memcpy(blocks, row.data(), sizeof blocks);
  // Each block covers the fourth word of the one before.
  for (std::size_t i = 0; i < blocksPerVector; ++i) std::memcpy(to + 6 * i, &blocks[i], 8);
}

VECAMERA_INLINE void store(const Row<4>& words, std::uint8_t* to) {
  const Row<4> row = interleaveFour(words[0], words[1], words[2], words[3]);
  std::memcpy(to, row.data(), sizeof row);
}

VECAMERA_INLINE void store(const Row<6>& words, std::uint8_t* to) {
  const Row<4> fourths = interleaveFour(words[0], words[1], words[2], words[3]);
  const Row<2> pairs{interleavedLow(words[4], words[5]), interleavedHigh(words[4], words[5])};
  std::uint64_t first[blocksPerVector];
  std::uint32_t last[blocksPerVector];
  std::memcpy(first, fourths.data(), sizeof first);
  std::memcpy(last, pairs.data(), sizeof last);
  for (std::size_t i = 0; i < blocksPerVector; ++i) {
    std::memcpy(to + 12 * i, &first[i], 8);
    std::memcpy(to + 12 * i + 8, &last[i], 4);
  }
}

/// The quantization step of each coefficient, in all lanes of a vector.
template <std::size_t n>
using QuantizationRows = std::array<Row<n>, n>;

template <std::size_t n>
void transformVector(const Block* blocks, const QuantizationRows<n>& quantization,
                     std::uint8_t* const* rows, std::size_t at) {
  auto stored = generate<n>([&](auto y) {
    const Row<4> first = coefficients(blocks, DCTSIZE * y);
    Row<4> second{};
    if constexpr (n > 4) second = coefficients(blocks, DCTSIZE * y + 4);
    return generate<n>(
        [&](auto x) { return (x < 4 ? first : second)[x % 4] * quantization[y][x]; });
  });
  // The first coefficient is added to all samples as it is, and so grey and the rounding with it.
  stored[0][0] += (CENTERJSAMPLE << (wordFractionBits + fractionBits)) + (1 << (fractionBits - 1));
  const auto columns = generate<n>([&](auto x) {
    return transformed(Row<n>(generate<n>([&](auto y) { return stored[y][x]; })));
  });
  for (std::size_t y = 0; y < n; ++y) {
    const Row<n> sums = transformed(Row<n>(generate<n>([&](auto x) { return columns[x][y]; })));
    store(generate<n>([&](auto x) { return wordsOf(sums[x]); }),
          rows[y] + at * n * sizeof(std::int16_t));
  }
}

template <std::size_t n>
void transformBlocks(Block* blocks, std::size_t count, ScaledIdct::AfterUse after,
                     const ScaledIdct::Quantization& quantization, std::uint8_t* const* rows) {
  QuantizationRows<n> steps;
  for (std::size_t y = 0; y < n; ++y)
    for (std::size_t x = 0; x < n; ++x)
      steps[y][x] = Words{} + static_cast<std::uint16_t>(quantization[y][x] << fractionBits);
  for (std::size_t at = 0; at < count; at += blocksPerVector) {
    const std::size_t now = std::min(blocksPerVector, count - at);
    if (now == blocksPerVector) {
      transformVector<n>(blocks + at, steps, rows, at);
    } else {
      Block last[blocksPerVector]{};
      std::copy_n(&blocks[at][0], now * DCTSIZE2, &last[0][0]);
      transformVector<n>(last, steps, rows, at);
    }
    if (after == ScaledIdct::AfterUse::keep) continue;
    for (std::size_t i = at; i < at + now; ++i) std::fill_n(blocks[i], n * DCTSIZE, JCOEF{0});
  }
}

/// As the library does where it transforms a block to one sample. Means are gathered first, so that
/// the compiler uses vectors. They need no clearing: every block stores one.
void storeMeans(const Block* blocks, std::size_t count, int step, JSAMPROW samples) {
  constexpr std::size_t many = 16;
  std::array<JCOEF, many> means;
  for (std::size_t at = 0; at < count; at += many) {
    const std::size_t now = std::min(many, count - at);
    for (std::size_t i = 0; i < now; ++i) means[i] = blocks[at + i][0];
    for (std::size_t i = 0; i < now; ++i)
      samples[at + i] = static_cast<JSAMPLE>(
          std::clamp(((means[i] * step + DCTSIZE / 2) >> 3) + CENTERJSAMPLE, 0, int{MAXJSAMPLE}));
  }
}

}  // namespace

ScaledIdct::ScaledIdct(unsigned samples, const std::uint16_t* table) : samples_(samples) {
  if (!table) return;
  for (std::size_t y = 0; y < samples; ++y)
    std::copy_n(table + y * DCTSIZE, samples, quantization_[y].begin());
}

void ScaledIdct::transform(Block* blocks, std::size_t count, AfterUse after,
                           std::uint8_t* const* rows) const {
  switch (samples_) {
    case 6: return transformBlocks<6>(blocks, count, after, quantization_, rows);
    case 4: return transformBlocks<4>(blocks, count, after, quantization_, rows);
    case 3: return transformBlocks<3>(blocks, count, after, quantization_, rows);
    case 2: return transformBlocks<2>(blocks, count, after, quantization_, rows);
    default: return storeMeans(blocks, count, quantization_[0][0], rows[0]);
  }
}

}  // namespace vecamera::device::imaging
