#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

// The Exif block as bytes: a TIFF structure, whatever picture it stands in. What it says beyond the
// orientation is Metadata.h's matter.

/// The orientation tag (1 to 8) of the first directory, or nothing. Safe on hostile bytes.
std::optional<int> orientationInExif(Bytes exif);
/// A block that holds the orientation and nothing else.
std::vector<std::uint8_t> exifWithOrientation(int orientation);

/// The JPEG or PNG with its Exif block replaced. Nothing where the container is damaged, or the
/// block does not fit (a JPEG takes 65527 bytes).
std::optional<std::vector<std::uint8_t>> withExif(Bytes encoded, PictureFormat format, Bytes exif);

}  // namespace vecamera::device::imaging
