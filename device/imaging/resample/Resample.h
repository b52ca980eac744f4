#pragma once

#include <functional>

#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {

/// Places the bitmap on a canvas and gives the windows of the placements, whose scales are above
/// zero. Shrinking averages (a separable filter without aliasing), enlarging interpolates smoothly,
/// edges are extended, and a shift by whole pixels copies. The only error is `outOfMemory`.
ImageResult<Bitmap> resample(Bitmap source, const AxisPlacement& x, const AxisPlacement& y);

inline constexpr std::size_t resampleBandRows = 16;
/// Makes `rows` point to the next `count` rows of a source, at most `resampleBandRows`.
using NextRows = std::function<ImageResult<void>(const std::uint8_t** rows, std::size_t count)>;
/// The same for a source that is read from the top in its stored orientation. Errors are those of
/// `nextRows`, and `outOfMemory`.
ImageResult<Bitmap> resampleRows(const AlignedPlacement& placement, const NextRows& nextRows);

/// A window of the canvas for any map of the bitmap's pixels to it: bilinear, transparent outside
/// of the bitmap. `unsupported` for sides of 32767 or more.
ImageResult<Bitmap> transform(Bitmap source, const AffineMap& map, const PixelRange& columns,
                              const PixelRange& rows);

}  // namespace vecamera::device::imaging
