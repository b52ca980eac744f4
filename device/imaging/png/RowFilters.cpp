#include "device/imaging/png/RowFilters.h"

#include <bit>
#include <cstring>

#include "device/imaging/base/Simd.h"

namespace vecamera::device::imaging {
namespace {

enum Filter { none = 0, sub = 1, up = 2, average = 3, paeth = 4 };

using Bytes32 = std::uint8_t __attribute__((vector_size(32)));

/// Without leaving eight bits. The distance of the prediction from the corner is the sum of the
/// other two distances where both neighbours lie on the same side of the corner. It is never the
/// smallest then, and neither is the number of all their bits.
template <class Vector>
[[gnu::always_inline]] inline void predictPaeth(const Vector& left, const Vector& up,
                                                const Vector& corner, Vector& predicted) {
  const Vector upOrCorner = up > corner ? up : corner;
  const Vector leftOrCorner = left > corner ? left : corner;
  const Vector upMore = upOrCorner - corner;
  const Vector upLess = upOrCorner - up;
  const Vector leftMore = leftOrCorner - corner;
  const Vector leftLess = leftOrCorner - left;
  const Vector toLeft = upMore | upLess;
  const Vector toAbove = leftMore | leftLess;
  const Vector more = upMore | leftMore;
  const Vector less = upLess | leftLess;
  const Vector toCorner = (more > less ? more : less) - (more > less ? less : more);
  const Vector nearer = toLeft < toAbove ? toLeft : toAbove;
  const Vector nearest = nearer < toCorner ? nearer : toCorner;
  const Vector aboveOrCorner = nearest == toAbove ? up : corner;
  predicted = nearest == toLeft ? left : aboveOrCorner;
}

/// Filters `count` bytes, at most a vector.
template <class Vector>
[[gnu::always_inline]] inline void filterVector(const std::uint8_t* row, const std::uint8_t* above,
                                                std::size_t count, std::size_t pixelBytes,
                                                std::uint8_t* to) {
  Vector own{}, left{}, up{}, corner{}, predicted;
  std::memcpy(&own, row, count);
  std::memcpy(&left, row - pixelBytes, count);
  std::memcpy(&up, above, count);
  std::memcpy(&corner, above - pixelBytes, count);
  predictPaeth(left, up, corner, predicted);
  own -= predicted;
  std::memcpy(to, &own, count);
}

template <class Vector>
[[gnu::always_inline]] inline std::size_t filterVectors(const std::uint8_t* row,
                                                        const std::uint8_t* above,
                                                        std::size_t first, std::size_t count,
                                                        std::size_t pixelBytes, std::uint8_t* to) {
  std::size_t i = first;
  for (; i + sizeof(Vector) <= count; i += sizeof(Vector))
    filterVector<Vector>(row + i, above + i, sizeof(Vector), pixelBytes, to + i);
  return i;
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) std::size_t filterPaethAvx2(const std::uint8_t* row,
                                                            const std::uint8_t* above,
                                                            std::size_t first, std::size_t count,
                                                            std::size_t pixelBytes,
                                                            std::uint8_t* to) {
  return filterVectors<Bytes32>(row, above, first, count, pixelBytes, to);
}
#endif

// Unfiltering works on whole pixels, whose four channels are the first lanes of a vector. The byte
// that is read behind a pixel of three bytes becomes opaque alpha in the end.

Bytes16 pixelAt(const std::uint8_t* from) {
  std::int32_t word;
  std::memcpy(&word, from, sizeof word);
  return reinterpret_cast<Bytes16>(Ints4{word});
}

void putPixel(Bytes16 pixel, std::uint8_t* to) {
  const std::int32_t word = reinterpret_cast<Ints4>(pixel)[0];
  std::memcpy(to, &word, sizeof word);
}

template <std::size_t pixelBytes>
constexpr Bytes16 opaque{0, 0, 0, pixelBytes == 3 ? std::uint8_t{0xFF} : std::uint8_t{0}};

/// Undoes the filter whose predictions for the four channels `predict(left, above, corner)` gives.
template <std::size_t pixelBytes, class Predict>
void unfilterWith(const std::uint8_t* filtered, const std::uint8_t* above, std::size_t width,
                  std::uint8_t* to, Predict predict) {
  Bytes16 left{};
  Bytes16 corner{};
  for (std::size_t x = 0; x < width; ++x) {
    const Bytes16 up = pixelAt(above + 4 * x);
    left = predict(left, up, corner) + pixelAt(filtered + pixelBytes * x);
    corner = up;
    putPixel(left | opaque<pixelBytes>, to + 4 * x);
  }
}

Words8 distance(Words8 a, Words8 b) {
  return (a > b ? a : b) - (a > b ? b : a);
}

/// Each pixel waits for the one before. So the sums are made of all three predictions, and what is
/// left to do then is to select one.
template <std::size_t pixelBytes>
[[gnu::always_inline]] inline void unfilterPaeth(const std::uint8_t* filtered,
                                                 const std::uint8_t* above, std::size_t width,
                                                 std::uint8_t* to) {
  const auto wide = [](Bytes16 pixel) {
    constexpr bool lowFirst = std::endian::native == std::endian::little;
    return reinterpret_cast<Words8>(lowFirst ? interleavedLow(pixel, Bytes16{})
                                             : interleavedLow(Bytes16{}, pixel));
  };
  const auto sum = [](Words8 a, Words8 b) {
    return reinterpret_cast<Words8>(reinterpret_cast<Bytes16>(a) + reinterpret_cast<Bytes16>(b));
  };
  Words8 left{};
  Words8 corner{};
  for (std::size_t x = 0; x < width; ++x) {
    const Words8 up = wide(pixelAt(above + 4 * x));
    const Words8 own = wide(pixelAt(filtered + pixelBytes * x));
    const Words8 toLeft = distance(up, corner);
    const Words8 toAbove = distance(left, corner);
    const Words8 toCorner = distance(left, corner + corner - up);
    const Words8 nearer = toCorner < toAbove ? toCorner : toAbove;
    const Words8 other = toCorner < toAbove ? sum(corner, own) : sum(up, own);
    left = nearer < toLeft ? other : sum(left, own);
    corner = up;
    putPixel(packSaturated<Bytes16>(left, left) | opaque<pixelBytes>, to + 4 * x);
  }
}

#if defined(__x86_64__)
/// Here selecting takes one instruction instead of three.
template <std::size_t pixelBytes>
__attribute__((target("sse4.1"))) void unfilterPaethSse41(const std::uint8_t* filtered,
                                                          const std::uint8_t* above,
                                                          std::size_t width, std::uint8_t* to) {
  unfilterPaeth<pixelBytes>(filtered, above, width, to);
}
#endif

template <std::size_t pixelBytes>
ImageResult<void> unfilter(int filter, const std::uint8_t* filtered, const std::uint8_t* above,
                           std::size_t width, std::uint8_t* to) {
  const auto with = [&](auto predict) {
    unfilterWith<pixelBytes>(filtered, above, width, to, predict);
    return ImageResult<void>();
  };
  switch (filter) {
    case none: return with([](Bytes16, Bytes16, Bytes16) { return Bytes16{}; });
    case sub: return with([](Bytes16 left, Bytes16, Bytes16) { return left; });
    case up:
      if (pixelBytes == 3) return with([](Bytes16, Bytes16 upper, Bytes16) { return upper; });
      for (std::size_t i = 0; i < 4 * width; ++i)
        to[i] = static_cast<std::uint8_t>(filtered[i] + above[i]);
      return {};
    case average:
      // Rounded down: the bits that both have, and half of those that differ.
      return with([](Bytes16 left, Bytes16 upper, Bytes16) {
        return (left & upper) + ((left ^ upper) >> 1);
      });
    case paeth:
#if defined(__x86_64__)
      if (simdLevel() >= SimdLevel::sse41) {
        unfilterPaethSse41<pixelBytes>(filtered, above, width, to);
        return {};
      }
#endif
      unfilterPaeth<pixelBytes>(filtered, above, width, to);
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
  i = filterVectors<Bytes16>(row, above, i, count, pixelBytes, to);
  if (i < count) filterVector<Bytes16>(row + i, above + i, count - i, pixelBytes, to + i);
}

ImageResult<void> unfilterRow(int filter, const std::uint8_t* filtered, std::size_t pixelBytes,
                              const std::uint8_t* above, std::size_t width, std::uint8_t* to) {
  return pixelBytes == 3 ? unfilter<3>(filter, filtered, above, width, to)
                         : unfilter<4>(filter, filtered, above, width, to);
}

}  // namespace vecamera::device::imaging
