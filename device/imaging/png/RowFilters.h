#pragma once

#include <cstddef>
#include <cstdint>

namespace vecamera::device::imaging {

// PNG's row filters, which leave of a byte its difference from what its neighbours let expect. What
// lies outside of the picture is zero.

/// What Paeth's filter leaves of a row of `count` bytes; the byte to the left is `unit` bytes
/// before. `above` is null for the first row.
void filterPaeth(const std::uint8_t* row, const std::uint8_t* above, std::size_t count,
                 std::size_t unit, std::uint8_t* to);

/// Takes the filter (0 to 4) off a row of `width` pixels of `unit` bytes, 3 or 4, and makes pixels
/// of four bytes of them, opaque ones where there were three. `above` are the pixels that were made
/// of the row above, zeros for the first. One byte behind the raw row is readable. False for other
/// filters.
bool unfilterToPixels(int filter, const std::uint8_t* raw, std::size_t unit,
                      const std::uint8_t* above, std::size_t width, std::uint8_t* to);

}  // namespace vecamera::device::imaging
