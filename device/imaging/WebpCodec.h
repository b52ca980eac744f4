#pragma once

#include <optional>

#include "device/imaging/Bitmap.h"
#include "device/imaging/Codecs.h"

namespace vecamera::device {

// Still WebP pictures through libwebp, read only; an animation is no picture here.

std::optional<PictureHeader> readWebpHeader(Bytes bytes);
std::optional<Bitmap> decodeWebp(Bytes bytes, const PictureHeader& header);

}  // namespace vecamera::device
