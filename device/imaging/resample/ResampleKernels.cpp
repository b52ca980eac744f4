#include "device/imaging/resample/ResampleKernels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "device/imaging/base/Simd.h"

namespace vecamera::device::imaging {
namespace {

/// The low `bits` of a sum are rounded away.
template <int bits>
constexpr int half = 1 << (bits - 1);

void interleavePortably(const std::uint8_t* upper, const std::uint8_t* lower, std::int16_t* pair) {
  for (std::size_t i = 0; i < tileNumbers; ++i) {
    pair[2 * i] = upper[i];
    pair[2 * i + 1] = lower[i];
  }
}

template <int bits, typename Number>
void mixPortably(const TileRing& ring, const AxisWeights& weights, std::size_t first,
                 std::size_t last, Number* tile, std::ptrdiff_t stride) {
  using Limits = std::numeric_limits<Number>;
  for (std::size_t result = first; result < last; ++result, tile += stride) {
    std::array<int, tileNumbers> sums;
    sums.fill(half<bits>);
    std::size_t index = weights.firstPair(result);
    for (const std::uint32_t both : weights.pairs(result)) {
      const int even = static_cast<std::int16_t>(both & 0xFFFF);
      const int odd = static_cast<std::int16_t>(both >> 16);
      const std::int16_t* pair = ring.pair(index++);
      for (std::size_t i = 0; i < tileNumbers; ++i)
        sums[i] += pair[2 * i] * even + pair[2 * i + 1] * odd;
    }
    for (std::size_t i = 0; i < tileNumbers; ++i)
      tile[i] = static_cast<Number>(std::clamp<int>(sums[i] >> bits, Limits::min(), Limits::max()));
  }
}

#if defined(__x86_64__)

void interleaveSse2(const std::uint8_t* upper, const std::uint8_t* lower, std::int16_t* pair) {
  const __m128i zero = _mm_setzero_si128();
  auto* to = reinterpret_cast<__m128i*>(pair);
  for (std::size_t i = 0; i < tileNumbers; i += 16, to += 4) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lower + i));
    const __m128i low = _mm_unpacklo_epi8(a, b);
    const __m128i high = _mm_unpackhi_epi8(a, b);
    _mm_store_si128(to, _mm_unpacklo_epi8(low, zero));
    _mm_store_si128(to + 1, _mm_unpackhi_epi8(low, zero));
    _mm_store_si128(to + 2, _mm_unpacklo_epi8(high, zero));
    _mm_store_si128(to + 3, _mm_unpackhi_epi8(high, zero));
  }
}

/// A quarter of a tile's result: sixteen numbers.
template <int bits, typename Number>
void mixQuarterSse2(const TileRing& ring, const AxisWeights& weights, std::size_t result,
                    std::size_t quarter, Number* to) {
  __m128i sums[4];
  for (__m128i& sum : sums) sum = _mm_set1_epi32(half<bits>);
  std::size_t index = weights.firstPair(result);
  for (const std::uint32_t both : weights.pairs(result)) {
    const __m128i factor = _mm_set1_epi32(static_cast<int>(both));
    const auto* pair = reinterpret_cast<const __m128i*>(ring.pair(index++)) + 4 * quarter;
    for (int i = 0; i < 4; ++i)
      sums[i] = _mm_add_epi32(sums[i], _mm_madd_epi16(_mm_load_si128(pair + i), factor));
  }
  for (__m128i& sum : sums) sum = _mm_srai_epi32(sum, bits);
  const __m128i low = _mm_packs_epi32(sums[0], sums[1]);
  const __m128i high = _mm_packs_epi32(sums[2], sums[3]);
  auto* const vectors = reinterpret_cast<__m128i*>(to);
  if constexpr (sizeof(Number) == 1) {
    _mm_storeu_si128(vectors, _mm_packus_epi16(low, high));
  } else {
    _mm_storeu_si128(vectors, low);
    _mm_storeu_si128(vectors + 1, high);
  }
}

template <int bits, typename Number>
void mixSse2(const TileRing& ring, const AxisWeights& weights, std::size_t first, std::size_t last,
             Number* tile, std::ptrdiff_t stride) {
  for (std::size_t result = first; result < last; ++result, tile += stride)
    for (std::size_t quarter = 0; quarter < 4; ++quarter)
      mixQuarterSse2<bits>(ring, weights, result, quarter, tile + 16 * quarter);
}

__attribute__((target("avx2"))) void interleaveAvx2(const std::uint8_t* upper,
                                                    const std::uint8_t* lower, std::int16_t* pair) {
  auto* to = reinterpret_cast<__m256i*>(pair);
  for (std::size_t i = 0; i < tileNumbers; i += 32, to += 4) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(upper + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lower + i));
    const __m256i low = _mm256_unpacklo_epi8(a, b);
    const __m256i high = _mm256_unpackhi_epi8(a, b);
    _mm256_store_si256(to, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(low)));
    _mm256_store_si256(to + 1, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(high)));
    _mm256_store_si256(to + 2, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(low, 1)));
    _mm256_store_si256(to + 3, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(high, 1)));
  }
}

template <int bits, typename Number>
__attribute__((target("avx2"))) void mixAvx2(const TileRing& ring, const AxisWeights& weights,
                                             std::size_t first, std::size_t last, Number* tile,
                                             std::ptrdiff_t stride) {
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  for (std::size_t result = first; result < last; ++result, tile += stride) {
    __m256i sums[8];
    for (__m256i& sum : sums) sum = _mm256_set1_epi32(half<bits>);
    std::size_t index = weights.firstPair(result);
    for (const std::uint32_t both : weights.pairs(result)) {
      const __m256i factor = _mm256_set1_epi32(static_cast<int>(both));
      const auto* pair = reinterpret_cast<const __m256i*>(ring.pair(index++));
      for (int i = 0; i < 8; ++i)
        sums[i] = _mm256_add_epi32(sums[i], _mm256_madd_epi16(_mm256_load_si256(pair + i), factor));
    }
    for (__m256i& sum : sums) sum = _mm256_srai_epi32(sum, bits);
    for (int i = 0; i < 8; i += 4) {
      const __m256i low = _mm256_packs_epi32(sums[i], sums[i + 1]);
      const __m256i high = _mm256_packs_epi32(sums[i + 2], sums[i + 3]);
      auto* const vectors = reinterpret_cast<__m256i*>(tile + 8 * i);
      if constexpr (sizeof(Number) == 1) {
        const __m256i bytes = _mm256_packus_epi16(low, high);
        _mm256_storeu_si256(vectors, _mm256_permutevar8x32_epi32(bytes, order));
      } else {
        _mm256_storeu_si256(vectors, _mm256_permute4x64_epi64(low, 0xD8));
        _mm256_storeu_si256(vectors + 1, _mm256_permute4x64_epi64(high, 0xD8));
      }
    }
  }
}

#endif

constexpr int whole = AxisWeights::oneBits;
constexpr int fromWords = AxisWeights::oneBits + wordFractionBits;

std::vector<ResampleKernels> mixingsHere() {
  std::vector<ResampleKernels> mixings;
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2"))
    mixings.push_back({interleaveAvx2, mixAvx2<whole>, mixAvx2<whole>, mixAvx2<fromWords>});
  mixings.push_back({interleaveSse2, mixSse2<whole>, mixSse2<whole>, mixSse2<fromWords>});
#endif
  mixings.push_back(
      {interleavePortably, mixPortably<whole>, mixPortably<whole>, mixPortably<fromWords>});
  return mixings;
}

using Pixels4 = std::uint32_t __attribute__((vector_size(16)));

/// Rows of sixteen bytes.
template <typename Vector>
void transpose(const std::uint8_t* from, std::size_t fromStride, std::uint8_t* to,
               std::size_t toStride) {
  Vector rows[lanes<Vector>];
  for (std::size_t i = 0; i < lanes<Vector>; ++i) std::memcpy(&rows[i], from + i * fromStride, 16);
  transposeBlock(rows);
  for (std::size_t i = 0; i < lanes<Vector>; ++i) std::memcpy(to + i * toStride, &rows[i], 16);
}

}  // namespace

void interleaveWords(const std::int16_t* upper, const std::int16_t* lower, std::int16_t* pair) {
  for (std::size_t i = 0; i < tileNumbers; i += 8) {
    Words8 a;
    Words8 b;
    std::memcpy(&a, upper + i, sizeof a);
    std::memcpy(&b, lower + i, sizeof b);
    const Words8 both[] = {interleavedLow(a, b), interleavedHigh(a, b)};
    std::memcpy(pair + 2 * i, both, sizeof both);
  }
}

std::span<const ResampleKernels> allResampleKernels() {
  static const std::vector<ResampleKernels> mixings = mixingsHere();
  return mixings;
}

const ResampleKernels& resampleKernels() {
  return allResampleKernels().front();
}

void transpose16(const std::uint8_t* from, std::size_t fromStride, std::uint8_t* to,
                 std::size_t toStride) {
  transpose<Bytes16>(from, fromStride, to, toStride);
}

void transposeWords8(const std::uint8_t* from, std::size_t fromStride, std::uint8_t* to,
                     std::size_t toStride) {
  transpose<Words8>(from, fromStride, to, toStride);
}

void transposePixels4(const std::uint8_t* from, std::size_t fromStride, std::uint8_t* to,
                      std::size_t toStride) {
  Pixels4 rows[4];
  for (std::size_t i = 0; i < 4; ++i) std::memcpy(&rows[i], from + i * fromStride, 16);
  const Pixels4 even = __builtin_shufflevector(rows[0], rows[2], 0, 4, 1, 5);
  const Pixels4 odd = __builtin_shufflevector(rows[1], rows[3], 0, 4, 1, 5);
  const Pixels4 evenHigh = __builtin_shufflevector(rows[0], rows[2], 2, 6, 3, 7);
  const Pixels4 oddHigh = __builtin_shufflevector(rows[1], rows[3], 2, 6, 3, 7);
  const Pixels4 columns[] = {__builtin_shufflevector(even, odd, 0, 4, 1, 5),
                             __builtin_shufflevector(even, odd, 2, 6, 3, 7),
                             __builtin_shufflevector(evenHigh, oddHigh, 0, 4, 1, 5),
                             __builtin_shufflevector(evenHigh, oddHigh, 2, 6, 3, 7)};
  for (std::size_t i = 0; i < 4; ++i) std::memcpy(to + i * toStride, &columns[i], 16);
}

}  // namespace vecamera::device::imaging
