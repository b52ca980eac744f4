#pragma once

#include <vector>

#include "device/imaging/base/EncodedBytes.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/resample/PlanarCanvas.h"

namespace vecamera::device::imaging {

/// The planes of a canvas that the JPEG fills, decoded and resampled in bands, without ever being
/// pixels. Blocks are decoded at a scale of which enough samples come out for the canvas.
/// `unsupported` for JPEGs that store other colours than grey and YCbCr, and for scales that are
/// too small for the resampler.
ImageResult<std::vector<CanvasPlane>> decodeJpegPlanes(Bytes bytes, const PictureHeader& header,
                                                       const AlignedPlacement& placement,
                                                       int chromaStep);

/// Writes planes that `PlanarCanvas` made with the quality's own chroma step. `quality` is
/// libjpeg's, 0 to 100.
ImageResult<EncodedBytes> encodeJpegPlanes(const std::vector<CanvasPlane>& planes, int quality,
                                           Bytes exif, const EncodedBytes& profile);

}  // namespace vecamera::device::imaging
