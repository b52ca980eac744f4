#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "device/imaging/Bitmap.h"
#include "device/imaging/Codecs.h"

namespace vecamera::device {

// PNG: read through libspng (every colour type, depth and interlacing), written here, because a
// photograph is stored many times faster with one fixed filter and libdeflate.

std::optional<PictureHeader> readPngHeader(Bytes bytes);
std::optional<Bitmap> decodePng(Bytes bytes, const PictureHeader& header);

/// Eight bits a channel; RGB where every pixel is opaque, else RGBA with the premultiplication
/// undone. Takes the bitmap, so that its memory is free again before the compression needs more.
std::optional<std::vector<std::uint8_t>> encodePng(Bitmap bitmap);

/// Appends a chunk, with its length and checksum.
void appendPngChunk(std::vector<std::uint8_t>& png, const char (&type)[5], Bytes contents);

}  // namespace vecamera::device
