#pragma once

#include <optional>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

// HEIC through libheif, read only. The container's own turns and crops are carried out, so the
// pixels and the sides are those of the upright picture.

std::optional<PictureHeader> readHeifHeader(Bytes bytes);
std::optional<Bitmap> decodeHeif(Bytes bytes, const PictureHeader& header);

}  // namespace vecamera::device::imaging
