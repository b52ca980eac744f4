#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

// PNG as a whole: read through libspng (every colour type, depth and interlacing), written by
// PngWriter.h. The usual kinds are read row by row in PngRows.h.

/// The most plain bytes that a byte of a deflate stream can stand for.
inline constexpr std::uint64_t bestDeflateRatio = 1032;

std::optional<PictureHeader> readPngHeader(Bytes bytes);
std::optional<Bitmap> decodePng(Bytes bytes, const PictureHeader& header);

/// Eight bits a channel; RGB where every pixel is opaque, else RGBA with the premultiplication
/// undone. The threads do not change the bytes.
std::optional<std::vector<std::uint8_t>> encodePng(const Bitmap& bitmap,
                                                   const ThreadBudget& threads = {});

}  // namespace vecamera::device::imaging
