#include "device/imaging/png/RowFilters.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "device/imaging/base/Simd.h"

namespace vecamera::device::imaging {
namespace {

enum Filter { none = 0, sub = 1, up = 2, average = 3, paeth = 4 };

std::uint8_t paethPrediction(int left, int above, int corner) {
  const int toLeft = std::abs(above - corner);
  const int toAbove = std::abs(left - corner);
  const int toCorner = std::abs(left + above - 2 * corner);
  if (toLeft <= toAbove && toLeft <= toCorner) return static_cast<std::uint8_t>(left);
  return static_cast<std::uint8_t>(toAbove <= toCorner ? above : corner);
}

using Bytes32 = std::uint8_t __attribute__((vector_size(32)));

/// Paeth's filter without leaving eight bits. The distance of the prediction from the corner is the
/// sum of the other two distances where both neighbours lie on the same side of the corner, and
/// else their difference; a sum that saturates at 255 still loses no comparison.
__attribute__((always_inline)) inline std::size_t filterPaethInVectors(
    const std::uint8_t* row, const std::uint8_t* above, std::size_t first, std::size_t count,
    std::size_t pixelBytes, std::uint8_t* to) {
  std::size_t i = first;
  for (; i + sizeof(Bytes32) <= count; i += sizeof(Bytes32)) {
    Bytes32 own;
    Bytes32 left;
    Bytes32 up;
    Bytes32 corner;
    std::memcpy(&own, row + i, sizeof own);
    std::memcpy(&left, row + i - pixelBytes, sizeof left);
    std::memcpy(&up, above + i, sizeof up);
    std::memcpy(&corner, above + i - pixelBytes, sizeof corner);
    const Bytes32 upIsLarger = up > corner;
    const Bytes32 leftIsLarger = left > corner;
    const Bytes32 toLeft = upIsLarger ? up - corner : corner - up;
    const Bytes32 toAbove = leftIsLarger ? left - corner : corner - left;
    const Bytes32 sum = toLeft + toAbove;
    const Bytes32 saturated = sum | static_cast<Bytes32>(sum < toLeft);
    const Bytes32 difference = toLeft > toAbove ? toLeft - toAbove : toAbove - toLeft;
    const Bytes32 toCorner = upIsLarger == leftIsLarger ? saturated : difference;
    const Bytes32 aboveOrCorner = toAbove <= toCorner ? up : corner;
    const Bytes32 predicted = ((toLeft <= toAbove) & (toLeft <= toCorner)) ? left : aboveOrCorner;
    const Bytes32 filtered = own - predicted;
    std::memcpy(to + i, &filtered, sizeof filtered);
  }
  return i;
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) std::size_t filterPaethAvx2(const std::uint8_t* row,
                                                            const std::uint8_t* above,
                                                            std::size_t first, std::size_t count,
                                                            std::size_t pixelBytes,
                                                            std::uint8_t* to) {
  return filterPaethInVectors(row, above, first, count, pixelBytes, to);
}
#endif

// Unfiltering works on whole pixels, whose four channels are the lanes of a vector. The byte that
// is read behind a pixel of three bytes becomes opaque alpha in the end.

std::uint32_t wordAt(const std::uint8_t* from) {
  std::uint32_t word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

struct FilteredRow {
  const std::uint8_t* bytes;
  const std::uint8_t* above;
  std::size_t width;
  std::uint8_t* to;
};

template <std::size_t pixelBytes>
void put(const FilteredRow& row, std::size_t x, std::uint32_t pixel) {
  constexpr std::uint32_t opaque = std::endian::native == std::endian::little ? 0xFF000000 : 0xFF;
  if (pixelBytes == 3) pixel |= opaque;
  std::memcpy(row.to + 4 * x, &pixel, sizeof pixel);
}

/// The sums of the four bytes of two words, each without carry into the next.
std::uint32_t addedBytes(std::uint32_t a, std::uint32_t b) {
  constexpr std::uint32_t low = 0x7F7F7F7F;
  return ((a & low) + (b & low)) ^ ((a ^ b) & ~low);
}

/// Undoes the filter whose predictions for the four channels `predict(left, above, corner)` gives.
template <std::size_t pixelBytes, class Predict>
void unfilterWith(const FilteredRow& row, Predict predict) {
  std::uint32_t left = 0;
  std::uint32_t corner = 0;
  for (std::size_t x = 0; x < row.width; ++x) {
    const std::uint32_t above = wordAt(row.above + 4 * x);
    left = addedBytes(predict(left, above, corner), wordAt(row.bytes + x * pixelBytes));
    corner = above;
    put<pixelBytes>(row, x, left);
  }
}

/// The means of bytes, rounded down: the bits that both have, and half of those that differ.
std::uint32_t meanBytes(std::uint32_t a, std::uint32_t b) {
  return (a & b) + (((a ^ b) & 0xFEFEFEFE) >> 1);
}

std::uint32_t paethBytes(std::uint32_t left, std::uint32_t above, std::uint32_t corner) {
  std::uint32_t predicted = 0;
  for (int shift = 0; shift < 32; shift += 8)
    predicted |= std::uint32_t{paethPrediction(left >> shift & 0xFF, above >> shift & 0xFF,
                                               corner >> shift & 0xFF)}
                 << shift;
  return predicted;
}

#if defined(__x86_64__)

__m128i wide(std::uint32_t pixel) {
  return _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(pixel)), _mm_setzero_si128());
}

__attribute__((target("sse4.1"))) __m128i predicted(__m128i left, __m128i above, __m128i corner) {
  const __m128i fromLeft = _mm_sub_epi16(above, corner);
  const __m128i fromAbove = _mm_sub_epi16(left, corner);
  const __m128i toLeft = _mm_abs_epi16(fromLeft);
  const __m128i toAbove = _mm_abs_epi16(fromAbove);
  const __m128i toCorner = _mm_abs_epi16(_mm_add_epi16(fromLeft, fromAbove));
  const __m128i nearest = _mm_min_epi16(toLeft, _mm_min_epi16(toAbove, toCorner));
  const __m128i aboveOrCorner = _mm_blendv_epi8(corner, above, _mm_cmpeq_epi16(nearest, toAbove));
  return _mm_blendv_epi8(aboveOrCorner, left, _mm_cmpeq_epi16(nearest, toLeft));
}

template <std::size_t pixelBytes>
__attribute__((target("sse4.1"))) void unfilterPaethSse41(const FilteredRow& row) {
  const __m128i bytes = _mm_set1_epi16(0xFF);
  __m128i left = _mm_setzero_si128();
  __m128i corner = _mm_setzero_si128();
  for (std::size_t x = 0; x < row.width; ++x) {
    const __m128i above = wide(wordAt(row.above + 4 * x));
    const __m128i sum =
        _mm_add_epi16(wide(wordAt(row.bytes + x * pixelBytes)), predicted(left, above, corner));
    left = _mm_and_si128(sum, bytes);
    corner = above;
    put<pixelBytes>(row, x,
                    static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(left, left))));
  }
}

#endif

template <std::size_t pixelBytes>
ImageResult<void> unfilter(int filter, const FilteredRow& row) {
  using Pixel = std::uint32_t;
  switch (filter) {
    case none: unfilterWith<pixelBytes>(row, [](Pixel, Pixel, Pixel) { return 0; }); return {};
    case sub:
      unfilterWith<pixelBytes>(row, [](Pixel left, Pixel, Pixel) { return left; });
      return {};
    case up:
      unfilterWith<pixelBytes>(row, [](Pixel, Pixel above, Pixel) { return above; });
      return {};
    case average:
      unfilterWith<pixelBytes>(
          row, [](Pixel left, Pixel above, Pixel) { return meanBytes(left, above); });
      return {};
    case paeth:
#if defined(__x86_64__)
      if (simdLevel() >= SimdLevel::sse41) {
        unfilterPaethSse41<pixelBytes>(row);
        return {};
      }
#endif
      unfilterWith<pixelBytes>(row, paethBytes);
      return {};
    default: return Failure(ImageError::corrupt);
  }
}

}  // namespace

void filterPaeth(const std::uint8_t* row, const std::uint8_t* above, std::size_t count,
                 std::size_t pixelBytes, std::uint8_t* to) {
  std::size_t i = 0;
  for (; i < pixelBytes && i < count; ++i)
    to[i] = static_cast<std::uint8_t>(row[i] - (above ? above[i] : 0));
  if (!above) {
    for (; i < count; ++i) to[i] = static_cast<std::uint8_t>(row[i] - row[i - pixelBytes]);
    return;
  }
#if defined(__x86_64__)
  if (simdLevel() >= SimdLevel::avx2) i = filterPaethAvx2(row, above, i, count, pixelBytes, to);
#endif
  i = filterPaethInVectors(row, above, i, count, pixelBytes, to);
  for (; i < count; ++i)
    to[i] = static_cast<std::uint8_t>(
        row[i] - paethPrediction(row[i - pixelBytes], above[i], above[i - pixelBytes]));
}

ImageResult<void> unfilterRow(int filter, const std::uint8_t* filtered, std::size_t pixelBytes,
                              const std::uint8_t* above, std::size_t width, std::uint8_t* to) {
  const FilteredRow row{filtered, above, width, to};
  return pixelBytes == 3 ? unfilter<3>(filter, row) : unfilter<4>(filter, row);
}

}  // namespace vecamera::device::imaging
