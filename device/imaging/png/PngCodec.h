#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

// PNG as a whole: decoded by libspng (every colour type, depth and interlacing), encoded by
// PngWriter.h. The most usual kinds are decoded row by row in PngRows.h.

inline constexpr PictureFormat pngFormat{"PNG", "public.png", "png", "image/png"};

/// Whether so many bytes can be a picture of so many filtered bytes at all.
bool pngCanHold(Bytes bytes, std::uint64_t filteredBytes);

ImageResult<PictureHeader> readPngHeader(Bytes bytes);
ImageResult<Bitmap> decodePng(Bytes bytes, const PictureHeader& header);

/// Eight bits a channel; RGB where every pixel is opaque, else RGBA with the premultiplication
/// undone. The threads do not change the bytes.
ImageResult<EncodedBytes> encodePngBitmap(const Bitmap& bitmap, const ThreadBudget& threads = {});

}  // namespace vecamera::device::imaging
