#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "device/base/SimdLevel.h"

namespace vecamera::device::imaging {

// The baseline is the compilers' vectors of 16 bytes, which they translate for every processor.
// Where more instructions are worth a function of its own, `simdLevel` chooses it.

using Bytes16 = std::uint8_t __attribute__((vector_size(16)));
using Words8 = std::int16_t __attribute__((vector_size(16)));
using UnsignedWords8 = std::uint16_t __attribute__((vector_size(16)));
using Ints4 = std::int32_t __attribute__((vector_size(16)));

template <typename Vector>
inline constexpr std::size_t lanes = sizeof(Vector) / sizeof(Vector{}[0]);

/// Operations for which most processors have an instruction, but C++ has no operator.
namespace portable {

/// The high halves of the products.
inline Words8 multiplyHigh(Words8 a, Words8 b) {
  Words8 products;
  for (std::size_t i = 0; i < lanes<Words8>; ++i)
    products[i] = static_cast<std::int16_t>(a[i] * b[i] >> 16);
  return products;
}

/// The products of neighbours, two by two, added up.
inline Ints4 multiplyAddPairs(Words8 a, Words8 b) {
  const auto first = reinterpret_cast<Ints4>(a);
  const auto second = reinterpret_cast<Ints4>(b);
  return (first << 16 >> 16) * (second << 16 >> 16) + (first >> 16) * (second >> 16);
}

/// The numbers of the first and then of the second, each brought into the range of half as long
/// ones: signed words of integers, unsigned bytes of words.
template <typename Narrow, typename Wide>
Narrow packSaturated(Wide first, Wide second) {
  using Half [[gnu::vector_size(8)]] = std::remove_reference_t<decltype(Narrow{}[0])>;
  using Number = std::remove_reference_t<decltype(Wide{}[0])>;
  using Limits = std::numeric_limits<std::remove_reference_t<decltype(Narrow{}[0])>>;
  const auto narrowed = [](Wide wide) {
    const Wide min = Wide{} + Number{Limits::min()};
    const Wide max = Wide{} + Number{Limits::max()};
    wide = wide < min ? min : wide;
    return __builtin_convertvector(wide > max ? max : wide, Half);
  };
  const Half halves[] = {narrowed(first), narrowed(second)};
  Narrow packed;
  std::memcpy(&packed, halves, sizeof packed);
  return packed;
}

}  // namespace portable

#if defined(__SSE2__)
inline Words8 multiplyHigh(Words8 a, Words8 b) {
  return reinterpret_cast<Words8>(
      _mm_mulhi_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}
inline Ints4 multiplyAddPairs(Words8 a, Words8 b) {
  return reinterpret_cast<Ints4>(
      _mm_madd_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}
template <typename Narrow, typename Wide>
Narrow packSaturated(Wide first, Wide second) {
  const auto a = reinterpret_cast<__m128i>(first);
  const auto b = reinterpret_cast<__m128i>(second);
  if constexpr (sizeof(Narrow{}[0]) == 2)
    return reinterpret_cast<Narrow>(_mm_packs_epi32(a, b));
  else
    return reinterpret_cast<Narrow>(_mm_packus_epi16(a, b));
}
#else
using namespace portable;
#endif

/// The lower halves of both, interleaved: a number of the first, one of the second, and so on.
template <typename Vector>
Vector interleavedLow(Vector a, Vector b) {
  if constexpr (lanes<Vector> == 16)
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  else if constexpr (lanes<Vector> == 8)
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
  else
    return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}

/// The same of their upper halves.
template <typename Vector>
Vector interleavedHigh(Vector a, Vector b) {
  if constexpr (lanes<Vector> == 16)
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                   31);
  else if constexpr (lanes<Vector> == 8)
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
  else
    return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}

/// Transposes a square block of rows. Each round interleaves rows that are half of the block apart.
template <typename Vector, std::size_t side>
void transposeBlock(Vector (&rows)[side]) {
  static_assert(side == lanes<Vector>);
  Vector interleaved[side];
  for (std::size_t rest = side; rest > 1; rest /= 2) {
    for (std::size_t i = 0; i < side / 2; ++i) {
      interleaved[2 * i] = interleavedLow(rows[i], rows[i + side / 2]);
      interleaved[2 * i + 1] = interleavedHigh(rows[i], rows[i + side / 2]);
    }
    std::copy(std::begin(interleaved), std::end(interleaved), std::begin(rows));
  }
}

}  // namespace vecamera::device::imaging
