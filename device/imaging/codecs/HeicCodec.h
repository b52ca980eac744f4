#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

// HEIC through libheif, read only. The file's own rotations and crops are carried out, so the
// pixels and the sides are those of the upright picture, whatever its Exif block says.

inline constexpr PictureFormat heicFormat{"HEIC", "public.heic", "heic", "image/heic"};

ImageResult<PictureHeader> readHeicHeader(Bytes bytes);
ImageResult<Bitmap> decodeHeic(Bytes bytes, const PictureHeader& header);

}  // namespace vecamera::device::imaging
