#pragma once

#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {

/// The window of a canvas that the placements of both axes make of the bitmap; their scales are
/// above zero. Shrinking averages (a separable filter without aliasing), enlarging interpolates
/// smoothly, edges are extended, and what moves by whole pixels is copied. The only error is
/// `outOfMemory`.
ImageResult<Bitmap> resample(Bitmap source, const AxisPlacement& x, const AxisPlacement& y);

/// A window of the canvas for any map of the bitmap's pixels to it: bilinear, transparent outside
/// of the bitmap. `unsupported` for sides of 32767 or more.
ImageResult<Bitmap> transform(Bitmap source, const AffineMap& map, const PixelRange& columns,
                              const PixelRange& rows);

}  // namespace vecamera::device::imaging
