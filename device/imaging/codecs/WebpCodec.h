#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

// Still WebP pictures through libwebp, read only; animations are refused.

inline constexpr PictureFormat webpFormat{"WebP", "org.webmproject.webp", "webp", "image/webp"};

ImageResult<PictureHeader> readWebpHeader(Bytes bytes);
ImageResult<Bitmap> decodeWebp(Bytes bytes, const PictureHeader& header);

}  // namespace vecamera::device::imaging
