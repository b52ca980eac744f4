#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "device/imaging/base/RowSource.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

// JPEG through libjpeg-turbo: grey, RGB, YCbCr, CMYK and YCCK, sequential and progressive.

std::optional<PictureHeader> readJpegHeader(Bytes bytes);
/// The rows at the scale that `jpegEighths` gives; null where the bytes are damaged.
std::unique_ptr<RowSource> openJpegRows(Bytes bytes, const PictureHeader& header, double coverWidth,
                                        double coverHeight);

/// How many of eight stored pixels, both ways, (1, 2, 3 or all 8) the library decodes for a result
/// of that many pixels. Each block is scaled by itself, so some of what is too fine for the decoded
/// pixels folds back; with pixels to spare, most of that lies beyond what the resampler lets
/// through.
unsigned jpegEighths(const PictureHeader& header, double coverWidth, double coverHeight);
/// Whether the format has such sides.
bool fitsIntoJpeg(std::size_t width, std::size_t height);
/// Whether so few bytes can be a picture of the claimed size at all.
bool jpegCanHold(Bytes bytes, const PictureHeader& header);
/// Pixels per stored sample of the colours, both ways, in a picture that is written at the quality.
int jpegChromaStep(int quality);

/// Sequential JPEG with alpha composed over white, chroma at half resolution both ways below
/// quality 100 and at full resolution at 100. `quality` is libjpeg's, 0 to 100. An Exif block is
/// written where it is not empty. Nothing for sides over 65500 or without memory.
std::optional<std::vector<std::uint8_t>> encodeJpeg(const Bitmap& bitmap, int quality, Bytes exif);

}  // namespace vecamera::device::imaging
