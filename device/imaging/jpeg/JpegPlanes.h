#pragma once

#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {

/// Encodes the canvas that the JPEG fills as a JPEG, with the Exif block where it is not empty.
/// `quality` is libjpeg's, 0 to 100. Planes are decoded and resampled in bands and never become
/// pixels. Blocks are decoded to no more samples than the canvas needs. `unsupported` for JPEGs
/// that store other colours than grey and YCbCr, and for scales that are too small for the
/// resampler.
ImageResult<EncodedBytes> resampleJpeg(Bytes bytes, const PictureHeader& header,
                                       const AlignedPlacement& placement, int quality, Bytes exif);

}  // namespace vecamera::device::imaging
