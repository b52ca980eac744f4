#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

// HEIC through libheif, read only. The file's own rotations and crops are carried out, so the
// pixels and the sides are those of the upright picture, whatever its Exif block says.

inline constexpr PictureFormat heicFormat{"HEIC", "public.heic", "heic", "image/heic"};

/// The major brands of still pictures and sequences of them in ISO boxes (ISO/IEC 23008-12, AV1
/// Image File Format): `heic` are those that this codec reads.
enum class HeifBrand { none, heic, other };
HeifBrand heifBrandOf(std::string_view majorBrand);

ImageResult<PictureHeader> readHeicHeader(Bytes bytes);
ImageResult<Bitmap> decodeHeic(Bytes bytes, const PictureHeader& header);

}  // namespace vecamera::device::imaging
