#pragma once

#include <cstddef>
#include <optional>

#include "device/imaging/AffineMap.h"
#include "device/imaging/Bitmap.h"

namespace vecamera::device {

/// How one axis of a bitmap lies on that of a canvas: canvas = scale * bitmap + offset, with a
/// scale above zero.
struct AxisMap {
  double scale = 1;
  double offset = 0;
};

/// A range of whole pixels of a canvas axis.
struct PixelRange {
  std::size_t first = 0;
  std::size_t count = 0;
};

/// The pixels of the bitmap resampled for that window of the canvas. Shrinking averages (a
/// separable filter without aliasing), enlarging interpolates smoothly, edges are extended, and a
/// map that moves by whole pixels copies exactly. Nothing where the memory cannot be had.
std::optional<Bitmap> resampled(Bitmap source, const AxisMap& x, const AxisMap& y,
                                const PixelRange& columns, const PixelRange& rows);

/// The same for any map of the bitmap's pixels to the canvas, bilinear, transparent outside of the
/// bitmap. Nothing also for sides of 32767 or more.
std::optional<Bitmap> transformed(Bitmap source, const AffineMap& map, const PixelRange& columns,
                                  const PixelRange& rows);

}  // namespace vecamera::device
