#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "device/imaging/Bitmap.h"
#include "device/imaging/PictureFormat.h"
#include "device/imaging/RowSource.h"
#include "device/imaging/Turn.h"

namespace vecamera::device {

using Bytes = std::span<const std::uint8_t>;

/// The format that the first bytes announce, or nothing.
std::optional<PictureFormat> formatOf(Bytes bytes);
/// Reads the head only. Nothing where the bytes are no known picture; safe on hostile bytes.
std::optional<PictureHeader> readHeader(Bytes bytes);

/// Starts to decode a JPEG, at the coarsest scale (1/8, 1/4, 1/2) that still gives `coverWidth` by
/// `coverHeight` pixels, or a PNG of the most usual kinds, on up to `threads` threads. Null for
/// other pictures and for damaged bytes.
std::unique_ptr<RowSource> openRows(Bytes bytes, const PictureHeader& header, double coverWidth,
                                    double coverHeight, unsigned threads);

/// Decoded pixels, already turned, one for `sourcePixels` by `sourcePixels` stored pixels.
struct DecodedPicture {
  Bitmap bitmap;
  int sourcePixels = 1;
};

/// Decodes all of the picture and turns it. A JPEG is decoded at the coarsest scale (1/8, 1/4, 1/2)
/// that still gives `coverWidth` by `coverHeight` pixels before the turn; other formats are decoded
/// whole. Nothing where the bytes are damaged or end early.
std::optional<DecodedPicture> decode(Bytes bytes, const PictureHeader& header, const Turn& turn,
                                     double coverWidth, double coverHeight, unsigned threads);

}  // namespace vecamera::device
