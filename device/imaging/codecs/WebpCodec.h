#pragma once

#include <optional>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

// Still WebP pictures through libwebp, read only; an animation is no picture here.

std::optional<PictureHeader> readWebpHeader(Bytes bytes);
std::optional<Bitmap> decodeWebp(Bytes bytes, const PictureHeader& header);

}  // namespace vecamera::device::imaging
