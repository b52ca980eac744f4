#include "device/imaging/png/RowFilters.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vecamera::device::imaging {
namespace {

enum Filter { none = 0, sub = 1, up = 2, average = 3, paeth = 4 };

std::uint8_t predictedByPaeth(int left, int above, int corner) {
  const int toLeft = std::abs(above - corner);
  const int toAbove = std::abs(left - corner);
  const int toCorner = std::abs(left + above - 2 * corner);
  if (toLeft <= toAbove && toLeft <= toCorner) return static_cast<std::uint8_t>(left);
  return static_cast<std::uint8_t>(toAbove <= toCorner ? above : corner);
}

using Bytes32 = std::uint8_t __attribute__((vector_size(32)));

/// Vectors are no results and no values of parameters: how those are passed depends on the target.
__attribute__((always_inline)) inline void load(const std::uint8_t* from, Bytes32& to) {
  std::memcpy(&to, from, sizeof to);
}

/// Paeth's filter without leaving eight bits. The distance of the prediction from the corner is the
/// sum of the other two distances where both neighbours lie on the same side of the corner, and
/// else their difference; a sum that is cut at 255 still loses no comparison.
__attribute__((always_inline)) inline std::size_t filterPaethInVectors(
    const std::uint8_t* row, const std::uint8_t* above, std::size_t first, std::size_t count,
    std::size_t unit, std::uint8_t* to) {
  std::size_t i = first;
  for (; i + sizeof(Bytes32) <= count; i += sizeof(Bytes32)) {
    Bytes32 own;
    Bytes32 left;
    Bytes32 up;
    Bytes32 corner;
    load(row + i, own);
    load(row + i - unit, left);
    load(above + i, up);
    load(above + i - unit, corner);
    const Bytes32 upIsMore = up > corner;
    const Bytes32 leftIsMore = left > corner;
    const Bytes32 toLeft = upIsMore ? up - corner : corner - up;
    const Bytes32 toAbove = leftIsMore ? left - corner : corner - left;
    const Bytes32 sum = toLeft + toAbove;
    const Bytes32 cut = sum | static_cast<Bytes32>(sum < toLeft);
    const Bytes32 difference = toLeft > toAbove ? toLeft - toAbove : toAbove - toLeft;
    const Bytes32 toCorner = upIsMore == leftIsMore ? cut : difference;
    const Bytes32 aboveOrCorner = toAbove <= toCorner ? up : corner;
    const Bytes32 predicted = ((toLeft <= toAbove) & (toLeft <= toCorner)) ? left : aboveOrCorner;
    const Bytes32 filtered = own - predicted;
    std::memcpy(to + i, &filtered, sizeof filtered);
  }
  return i;
}

using PaethInVectors = std::size_t (*)(const std::uint8_t*, const std::uint8_t*, std::size_t,
                                       std::size_t, std::size_t, std::uint8_t*);

std::size_t paethAnywhere(const std::uint8_t* row, const std::uint8_t* above, std::size_t first,
                          std::size_t count, std::size_t unit, std::uint8_t* to) {
  return filterPaethInVectors(row, above, first, count, unit, to);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) std::size_t paethAvx2(const std::uint8_t* row,
                                                      const std::uint8_t* above, std::size_t first,
                                                      std::size_t count, std::size_t unit,
                                                      std::uint8_t* to) {
  return filterPaethInVectors(row, above, first, count, unit, to);
}
#endif

PaethInVectors fastestPaeth() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return paethAvx2;
#endif
  return paethAnywhere;
}

// Taking a filter off works on whole pixels, whose four channels are the lanes of a vector: what is
// read behind a pixel of three bytes is made opaque alpha in the end.

std::uint32_t wordAt(const std::uint8_t* from) {
  std::uint32_t word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

struct RowToUnfilter {
  const std::uint8_t* raw;
  const std::uint8_t* above;
  std::size_t width;
  std::uint8_t* to;
};

/// The raw bytes of a pixel; of one of three bytes with one more.
template <std::size_t unit>
std::uint32_t rawAt(const RowToUnfilter& row, std::size_t x) {
  return wordAt(row.raw + x * unit);
}

template <std::size_t unit>
void put(const RowToUnfilter& row, std::size_t x, std::uint32_t pixel) {
  constexpr std::uint32_t opaque = std::endian::native == std::endian::little ? 0xFF000000 : 0xFF;
  if (unit == 3) pixel |= opaque;
  std::memcpy(row.to + 4 * x, &pixel, sizeof pixel);
}

/// The sums of the four bytes of two words, each without carry into the next.
std::uint32_t addedBytes(std::uint32_t a, std::uint32_t b) {
  constexpr std::uint32_t low = 0x7F7F7F7F;
  return ((a & low) + (b & low)) ^ ((a ^ b) & ~low);
}

template <std::size_t unit>
void takeOffNone(const RowToUnfilter& row) {
  for (std::size_t x = 0; x < row.width; ++x) put<unit>(row, x, rawAt<unit>(row, x));
}

template <std::size_t unit>
void takeOffSub(const RowToUnfilter& row) {
  std::uint32_t left = 0;
  for (std::size_t x = 0; x < row.width; ++x) {
    left = addedBytes(left, rawAt<unit>(row, x));
    put<unit>(row, x, left);
  }
}

template <std::size_t unit>
void takeOffUp(const RowToUnfilter& row) {
  for (std::size_t x = 0; x < row.width; ++x)
    put<unit>(row, x, addedBytes(wordAt(row.above + 4 * x), rawAt<unit>(row, x)));
}

template <std::size_t unit>
void takeOffAverage(const RowToUnfilter& row) {
  std::uint32_t left = 0;
  for (std::size_t x = 0; x < row.width; ++x) {
    const std::uint32_t above = wordAt(row.above + 4 * x);
    // The means of bytes, rounded down: the bits that both have, and half of those that differ.
    const std::uint32_t mean = (left & above) + (((left ^ above) & 0xFEFEFEFE) >> 1);
    left = addedBytes(mean, rawAt<unit>(row, x));
    put<unit>(row, x, left);
  }
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
  const __m128i least = _mm_min_epi16(toLeft, _mm_min_epi16(toAbove, toCorner));
  const __m128i aboveOrCorner = _mm_blendv_epi8(corner, above, _mm_cmpeq_epi16(least, toAbove));
  return _mm_blendv_epi8(aboveOrCorner, left, _mm_cmpeq_epi16(least, toLeft));
}

template <std::size_t unit>
__attribute__((target("sse4.1"))) void takeOffPaethSse41(const RowToUnfilter& row) {
  const __m128i bytes = _mm_set1_epi16(0xFF);
  __m128i left = _mm_setzero_si128();
  __m128i corner = _mm_setzero_si128();
  for (std::size_t x = 0; x < row.width; ++x) {
    const __m128i above = wide(wordAt(row.above + 4 * x));
    const __m128i sum = _mm_add_epi16(wide(rawAt<unit>(row, x)), predicted(left, above, corner));
    left = _mm_and_si128(sum, bytes);
    corner = above;
    put<unit>(row, x, static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(left, left))));
  }
}

#endif

template <std::size_t unit>
void takeOffPaethAnywhere(const RowToUnfilter& row) {
  for (std::size_t x = 0; x < row.width; ++x) {
    std::array<std::uint8_t, 4> pixel;
    for (std::size_t i = 0; i < 4; ++i) {
      const std::size_t at = 4 * x + i;
      const int left = x > 0 ? row.to[at - 4] : 0;
      const int corner = x > 0 ? row.above[at - 4] : 0;
      pixel[i] = static_cast<std::uint8_t>(row.raw[x * unit + i] +
                                           predictedByPaeth(left, row.above[at], corner));
    }
    put<unit>(row, x, wordAt(pixel.data()));
  }
}

template <std::size_t unit>
void takeOffPaeth(const RowToUnfilter& row) {
#if defined(__x86_64__)
  static const bool hasSse41 = __builtin_cpu_supports("sse4.1");
  if (hasSse41) return takeOffPaethSse41<unit>(row);
#endif
  takeOffPaethAnywhere<unit>(row);
}

template <std::size_t unit>
bool takeOff(int filter, const RowToUnfilter& row) {
  switch (filter) {
    case none: takeOffNone<unit>(row); return true;
    case sub: takeOffSub<unit>(row); return true;
    case up: takeOffUp<unit>(row); return true;
    case average: takeOffAverage<unit>(row); return true;
    case paeth: takeOffPaeth<unit>(row); return true;
    default: return false;
  }
}

}  // namespace

void filterPaeth(const std::uint8_t* row, const std::uint8_t* above, std::size_t count,
                 std::size_t unit, std::uint8_t* to) {
  static const PaethInVectors inVectors = fastestPaeth();
  std::size_t i = 0;
  for (; i < unit && i < count; ++i)
    to[i] = static_cast<std::uint8_t>(row[i] - (above ? above[i] : 0));
  if (!above) {
    for (; i < count; ++i) to[i] = static_cast<std::uint8_t>(row[i] - row[i - unit]);
    return;
  }
  i = inVectors(row, above, i, count, unit, to);
  for (; i < count; ++i)
    to[i] = static_cast<std::uint8_t>(row[i] -
                                      predictedByPaeth(row[i - unit], above[i], above[i - unit]));
}

bool unfilterToPixels(int filter, const std::uint8_t* raw, std::size_t unit,
                      const std::uint8_t* above, std::size_t width, std::uint8_t* to) {
  const RowToUnfilter row{raw, above, width, to};
  return unit == 3 ? takeOff<3>(filter, row) : takeOff<4>(filter, row);
}

}  // namespace vecamera::device::imaging
