#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/pipeline/PlanarCanvas.h"

namespace vecamera::device::imaging {

/// The planes of a canvas that the JPEG fills, as a JPEG is decoded and encoded without ever being
/// pixels: at a scale that is coarse, but leaves samples to spare, and in bands. Not for JPEGs that
/// store other colours than grey and YCbCr, nor for scales that are too coarse for the resampler.
Attempt<std::vector<CanvasPlane>> planesOfJpeg(Bytes bytes, const PictureHeader& header,
                                               const Placement& layout, std::size_t width,
                                               std::size_t height, int chromaStep);

/// Writes planes that `PlanarCanvas` made with the quality's own chroma step. `quality` is
/// libjpeg's, 0 to 100.
std::optional<std::vector<std::uint8_t>> encodePlanes(const std::vector<CanvasPlane>& planes,
                                                      int quality, Bytes exif,
                                                      const std::vector<std::uint8_t>& profile);

}  // namespace vecamera::device::imaging
