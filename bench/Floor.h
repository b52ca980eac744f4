#pragma once

#include <cstdint>
#include <vector>

#include "VECamera/platform/Value.h"
#include "bench/Photographs.h"

namespace vecamera::bench {

// libjpeg-turbo's bare work, on one thread and with nothing around it.

enum class RasterColors { rgb, asStored };

Raster bareDecode(const Data& jpeg, unsigned denominator, RasterColors colors = RasterColors::rgb);
/// Colours at half resolution both ways below quality 100 and at full resolution at 100, as the
/// device writes them. An Exif block with the orientation where it is not 1.
std::vector<std::uint8_t> bareEncode(const Raster& raster, int quality, int orientation = 1,
                                     RasterColors colors = RasterColors::rgb);

}  // namespace vecamera::bench
