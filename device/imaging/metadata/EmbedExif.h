#pragma once

#include "device/imaging/base/EncodedBytes.h"
#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

/// The JPEG or PNG with its Exif block replaced; its pixels are not touched. `corrupt` where the
/// file's segments or chunks are damaged; `unsupported` for other formats, and where the block does
/// not fit: a JPEG takes 65527 bytes.
ImageResult<EncodedBytes> embedExif(Bytes encoded, const PictureFormat& format, Bytes exif);

}  // namespace vecamera::device::imaging
