#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

/// The JPEG turned without decoding its pixels: blocks of coefficients change places, so that no
/// quality is lost and the file grows by nothing. Its metadata is left out but for the profile; an
/// Exif block is written where it is not empty.
///
/// Not for pictures of which an axis that is mirrored ends inside of a block: what fills such a
/// block up would come to lie before the picture. Nor for coefficients that are larger than any
/// 8-bit picture has them, or that take more memory than a decoder may have: those of a picture
/// with full colours of more than some 180 megapixels.
Attempt<std::vector<std::uint8_t>> turnedJpeg(Bytes bytes, const PictureHeader& header,
                                              const Turn& turn, Bytes exif);

}  // namespace vecamera::device::imaging
