#pragma once

#include <cstdint>
#include <vector>

#include "VECamera/platform/Value.h"
#include "bench/Photographs.h"

namespace vecamera::bench {

/// What the bytes of a raster are.
enum class RasterSpace { rgb, yCbCr };

// libjpeg-turbo's own work, on one thread and with nothing around it.

Raster bareDecode(const Data& jpeg, unsigned denominator, RasterSpace space = RasterSpace::rgb);
/// Chroma subsampling of 4:2:0 below quality 100 and of 4:4:4 at 100, as the device writes them. An
/// Exif block with the orientation where it is not 1.
std::vector<std::uint8_t> bareEncode(const Raster& raster, int quality, int orientation = 1,
                                     RasterSpace space = RasterSpace::rgb);

}  // namespace vecamera::bench
