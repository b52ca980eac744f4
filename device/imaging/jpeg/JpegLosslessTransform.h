#pragma once

#include "device/imaging/base/Orientation.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

/// Applies the orientation to the JPEG without decoding its pixels: blocks of coefficients are
/// moved, so that no quality is lost and the file does not grow. Of its metadata only the profile
/// is kept; an Exif block is written where it is not empty.
///
/// `unsupported` where an axis that is mirrored ends inside of a block, whose padding would come
/// first then. Also for larger coefficients than 8-bit pictures have. `outOfMemory` where they take
/// more memory than a decoder may have: those of a picture without chroma subsampling of more than
/// some 180 megapixels.
ImageResult<EncodedBytes> transformJpegLosslessly(Bytes bytes, const PictureHeader& header,
                                                  const Orientation& orientation, Bytes exif);

}  // namespace vecamera::device::imaging
