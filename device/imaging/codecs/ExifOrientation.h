#pragma once

#include <optional>

#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

// The orientation in an Exif block, which is a TIFF structure whatever file it stands in. All other
// tags are read in metadata/.

/// The orientation tag (1 to 8) of the first directory; nothing without a valid one. Safe on
/// hostile bytes.
std::optional<int> exifOrientationTag(Bytes exif);
/// A block with the orientation and no other tag.
EncodedBytes exifWithOrientation(int orientation);

}  // namespace vecamera::device::imaging
