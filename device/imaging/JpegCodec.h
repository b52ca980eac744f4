#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "device/imaging/Codecs.h"

namespace vecamera::device {

// JPEG through libjpeg-turbo: grey, RGB, YCbCr, CMYK and YCCK, sequential and progressive.

std::optional<PictureHeader> readJpegHeader(Bytes bytes);
std::optional<DecodedPicture> decodeJpeg(Bytes bytes, const PictureHeader& header, const Turn& turn,
                                         double coverWidth, double coverHeight);

/// Sequential JPEG with alpha composed over white, chroma at half resolution both ways below
/// quality 100 and at full resolution at 100. `quality` is libjpeg's, 0 to 100. An Exif block is
/// written where it is not empty. Nothing for sides over 65500 or without memory.
std::optional<std::vector<std::uint8_t>> encodeJpeg(const Bitmap& bitmap, int quality, Bytes exif);

}  // namespace vecamera::device
