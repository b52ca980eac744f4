#pragma once

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/Bitmap.h"

namespace vecamera::device::imaging {

/// One of the eight symmetries of a rectangle: the axes are exchanged first, and mirrored then.
struct Orientation {
  bool swapsAxes = false;
  bool mirrorsX = false;
  bool mirrorsY = false;
  friend bool operator==(const Orientation&, const Orientation&) = default;
};

/// The one that shows a stored bitmap upright.
Orientation orientationFor(UIImageOrientation orientation);
/// The one that stores an upright bitmap so that `orientation` shows it upright again.
Orientation inverse(const Orientation& orientation);
struct PixelSize {
  std::size_t width = 0;
  std::size_t height = 0;
};

/// The sides of what is stored with these, once it is oriented. `Sides` has a width and a height.
template <class Sides>
Sides sidesOf(const Orientation& orientation, const Sides& stored) {
  return orientation.swapsAxes ? Sides{stored.height, stored.width} : stored;
}
/// The same as a map of the coordinates of a stored bitmap with these sides.
AffineMap affineMapOf(const Orientation& orientation, double storedWidth, double storedHeight);

/// The value of the Exif tag for the orientation (1 to 8), and back; a value outside is `up`.
int exifOrientation(UIImageOrientation orientation);
int exifOrientation(const Orientation& orientation);
UIImageOrientation orientationOfExif(std::int64_t value);

/// Puts rows `firstRow` to `firstRow + count` of a stored bitmap of `storedWidth` by `storedHeight`
/// into their places in `oriented`, which has the sides that the orientation gives. About 16 rows
/// at a time make good use of the cache.
void copyOriented(const std::uint32_t* rows, std::size_t storedWidth, std::size_t storedHeight,
                  std::size_t firstRow, std::size_t count, const Orientation& orientation,
                  Bitmap& oriented);
/// A whole bitmap with the orientation applied. The only error is `outOfMemory`.
ImageResult<Bitmap> oriented(Bitmap stored, const Orientation& orientation);

}  // namespace vecamera::device::imaging
