#pragma once

#include <cstddef>
#include <optional>

#include "device/imaging/AffineMap.h"
#include "device/imaging/AxisWeights.h"
#include "device/imaging/Bitmap.h"

namespace vecamera::device {

/// The part of a bitmap that a picture is made of. What lies outside does not show, not even
/// through a filter.
struct Usable {
  PixelRange columns;
  PixelRange rows;
};

Usable allOf(const Bitmap& bitmap);

/// The pixels of the bitmap resampled for that window of the canvas; both scales are above zero.
/// Shrinking averages (a separable filter without aliasing), enlarging interpolates smoothly, edges
/// are extended, and a map that moves by whole pixels copies exactly. Nothing where the memory
/// cannot be had.
std::optional<Bitmap> resampled(Bitmap source, const AxisMap& x, const AxisMap& y,
                                const PixelRange& columns, const PixelRange& rows,
                                const Usable& usable);

/// The same for any map of the bitmap's pixels to the canvas, bilinear, transparent outside of the
/// bitmap. Nothing also for sides of 32767 or more.
std::optional<Bitmap> transformed(Bitmap source, const AffineMap& map, const PixelRange& columns,
                                  const PixelRange& rows);

}  // namespace vecamera::device
