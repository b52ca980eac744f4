#pragma once

#include <cstddef>
#include <cstdint>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/Bitmap.h"

namespace vecamera::device::imaging {

/// One of the eight ways to lay a rectangle on itself: the axes are exchanged first, then the
/// results are mirrored.
struct Turn {
  bool swapsAxes = false;
  bool mirrorsX = false;
  bool mirrorsY = false;
  friend bool operator==(const Turn&, const Turn&) = default;
};

/// The turn that shows a stored bitmap upright.
Turn turnFor(UIImageOrientation orientation);
/// The turn that stores an upright bitmap so that the orientation shows it upright again.
Turn inverse(const Turn& turn);
/// The same turn as a map of the coordinates of a stored bitmap with these sides.
AffineMap mapOf(const Turn& turn, double storedWidth, double storedHeight);

/// The value of the Exif tag for the orientation (1 to 8), and back; a value outside is `up`.
int exifOrientation(UIImageOrientation orientation);
UIImageOrientation orientationOfExif(std::int64_t value);

/// Puts rows `firstRow` to `firstRow + count` of a stored bitmap of `storedWidth` by `storedHeight`
/// into their places in `turned`, which has the turned sides. About 16 rows at a time make good use
/// of the cache.
void placeTurned(const std::uint32_t* rows, std::size_t storedWidth, std::size_t storedHeight,
                 std::size_t firstRow, std::size_t count, const Turn& turn, Bitmap& turned);
/// A whole bitmap turned; nothing where the memory cannot be had.
std::optional<Bitmap> turned(Bitmap stored, const Turn& turn);

}  // namespace vecamera::device::imaging
