#pragma once

#include <cstddef>
#include <optional>

#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/resample/AxisWeights.h"

namespace vecamera::device::imaging {

/// The part of a bitmap that a picture is made of. What lies outside does not show, not even
/// through a filter.
struct SourceRect {
  PixelRange columns;
  PixelRange rows;
};

SourceRect allOf(const Bitmap& bitmap);

/// The pixels of the bitmap resampled for that window of the canvas; both scales are above zero.
/// Shrinking averages (a separable filter without aliasing), enlarging interpolates smoothly, edges
/// are extended, and a map that moves by whole pixels copies exactly. Nothing where the memory
/// cannot be had.
std::optional<Bitmap> resampled(Bitmap source, const AxisMap& x, const AxisMap& y,
                                const PixelRange& columns, const PixelRange& rows,
                                const SourceRect& usable);

/// The same for any map of the bitmap's pixels to the canvas, bilinear, transparent outside of the
/// bitmap. Nothing also for sides of 32767 or more.
std::optional<Bitmap> transformed(Bitmap source, const AffineMap& map, const PixelRange& columns,
                                  const PixelRange& rows);

}  // namespace vecamera::device::imaging
