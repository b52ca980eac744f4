#pragma once

#include <cstddef>
#include <cstdint>

#include "device/imaging/base/ImageResult.h"

namespace vecamera::device::imaging {

// PNG's row filters, which replace each byte by its difference from a prediction out of the bytes
// to its left, above, and above to the left. Outside of the picture those are zero.

/// Applies Paeth's filter to a row of `count` bytes, whose pixels have `pixelBytes`. `above` is
/// null for the first row.
void filterPaeth(const std::uint8_t* row, const std::uint8_t* above, std::size_t count,
                 std::size_t pixelBytes, std::uint8_t* to);

/// Undoes the filter (0 to 4) of a row of `width` pixels of `pixelBytes`, 3 or 4, and widens them
/// to four bytes; those of three become opaque. `above` are the resulting pixels of the row above,
/// zeros for the first row. One byte behind the filtered row is readable. `corrupt` for other
/// filters.
ImageResult<void> unfilterRow(int filter, const std::uint8_t* filtered, std::size_t pixelBytes,
                              const std::uint8_t* above, std::size_t width, std::uint8_t* to);

}  // namespace vecamera::device::imaging
