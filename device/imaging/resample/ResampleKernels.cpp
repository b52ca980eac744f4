#include "device/imaging/resample/ResampleKernels.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vecamera::device::imaging {
namespace {

/// Half of what the low `bits` of a sum hold, so that they are rounded away.
template <int bits>
constexpr int half = 1 << (bits - 1);

template <typename Vector>
Vector load(const void* from) {
  Vector vector;
  std::memcpy(&vector, from, sizeof vector);
  return vector;
}

void interleaveBytes(const std::uint8_t* upper, const std::uint8_t* lower, std::int16_t* pair) {
  constexpr Bytes16 zero{};
  for (std::size_t i = 0; i < tileSamples; i += lanes<Bytes16>) {
    const auto a = load<Bytes16>(upper + i);
    const auto b = load<Bytes16>(lower + i);
    const Bytes16 low = interleavedLow(a, b);
    const Bytes16 high = interleavedHigh(a, b);
    // Zeros make words of the bytes.
    const Bytes16 words[] = {interleavedLow(low, zero), interleavedHigh(low, zero),
                             interleavedLow(high, zero), interleavedHigh(high, zero)};
    std::memcpy(pair + 2 * i, words, sizeof words);
  }
}

/// A quarter of a tile's result, sixteen samples: as many sums as registers hold.
template <int bits, typename Sample>
void convolveQuarter(const TileRing& ring, const AxisWeights& weights, std::size_t result,
                     std::size_t quarter, Sample* to) {
  Ints4 sums[4];
  for (Ints4& sum : sums) sum = Ints4{} + half<bits>;
  std::size_t index = weights.firstPair(result);
  for (const std::uint32_t both : weights.pairs(result)) {
    const auto factor = reinterpret_cast<Words8>(Ints4{} + static_cast<std::int32_t>(both));
    const std::int16_t* pair = ring.pair(index++) + 32 * quarter;
    for (std::size_t i = 0; i < 4; ++i)
      sums[i] += multiplyAddPairs(load<Words8>(pair + 8 * i), factor);
  }
  for (Ints4& sum : sums) sum >>= bits;
  const Words8 words[] = {packSaturated<Words8>(sums[0], sums[1]),
                          packSaturated<Words8>(sums[2], sums[3])};
  if constexpr (sizeof(Sample) == 1) {
    const auto bytes = packSaturated<Bytes16>(words[0], words[1]);
    std::memcpy(to, &bytes, sizeof bytes);
  } else {
    std::memcpy(to, words, sizeof words);
  }
}

template <int bits, typename Sample>
void convolve(const TileRing& ring, const AxisWeights& weights, std::size_t first, std::size_t last,
              Sample* tile, std::ptrdiff_t stride) {
  for (std::size_t result = first; result < last; ++result, tile += stride)
    for (std::size_t quarter = 0; quarter < 4; ++quarter)
      convolveQuarter<bits>(ring, weights, result, quarter, tile + 16 * quarter);
}

#if defined(__x86_64__)

__attribute__((target("avx2"))) void interleaveAvx2(const std::uint8_t* upper,
                                                    const std::uint8_t* lower, std::int16_t* pair) {
  auto* to = reinterpret_cast<__m256i*>(pair);
  for (std::size_t i = 0; i < tileSamples; i += 32, to += 4) {
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

template <int bits, typename Sample>
__attribute__((target("avx2"))) void convolveAvx2(const TileRing& ring, const AxisWeights& weights,
                                                  std::size_t first, std::size_t last, Sample* tile,
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
      if constexpr (sizeof(Sample) == 1) {
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

constexpr int sameFormat = AxisWeights::fractionBits;
constexpr int fromWords = AxisWeights::fractionBits + wordFractionBits;

constexpr ResampleKernels baseline{interleaveBytes, convolve<sameFormat>, convolve<sameFormat>,
                                   convolve<fromWords>};
#if defined(__x86_64__)
constexpr ResampleKernels avx2{interleaveAvx2, convolveAvx2<sameFormat>, convolveAvx2<sameFormat>,
                               convolveAvx2<fromWords>};
#endif

}  // namespace

const ResampleKernels& resampleKernels([[maybe_unused]] SimdLevel level) {
#if defined(__x86_64__)
  if (level >= SimdLevel::avx2) return avx2;
#endif
  return baseline;
}

void interleaveWords(const std::int16_t* upper, const std::int16_t* lower, std::int16_t* pair) {
  for (std::size_t i = 0; i < tileSamples; i += lanes<Words8>) {
    const auto a = load<Words8>(upper + i);
    const auto b = load<Words8>(lower + i);
    const Words8 both[] = {interleavedLow(a, b), interleavedHigh(a, b)};
    std::memcpy(pair + 2 * i, both, sizeof both);
  }
}

}  // namespace vecamera::device::imaging
