#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vecamera::device::imaging {

// Sixteen bytes that are computed with at once, as the compilers know them for every processor.

using Bytes16 = std::uint8_t __attribute__((vector_size(16)));
using Words8 = std::int16_t __attribute__((vector_size(16)));
using UnsignedWords8 = std::uint16_t __attribute__((vector_size(16)));

template <typename Vector>
inline constexpr std::size_t lanes = sizeof(Vector) / sizeof(Vector{}[0]);

/// Numbers of the first and the second in turn, of their lower halves.
template <typename Vector>
Vector interleavedLow(Vector a, Vector b) {
  if constexpr (lanes<Vector> == 16)
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  else
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}

/// The same of their upper halves.
template <typename Vector>
Vector interleavedHigh(Vector a, Vector b) {
  if constexpr (lanes<Vector> == 16)
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                   31);
  else
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

/// Lays the rows of a square block as its columns. Each round interleaves rows that are half of the
/// block apart.
template <typename Vector, std::size_t side>
void transposeBlock(Vector (&rows)[side]) {
  static_assert(side == lanes<Vector>);
  Vector mixed[side];
  for (std::size_t rest = side; rest > 1; rest /= 2) {
    for (std::size_t i = 0; i < side / 2; ++i) {
      mixed[2 * i] = interleavedLow(rows[i], rows[i + side / 2]);
      mixed[2 * i + 1] = interleavedHigh(rows[i], rows[i + side / 2]);
    }
    std::copy(std::begin(mixed), std::end(mixed), std::begin(rows));
  }
}

}  // namespace vecamera::device::imaging
