#pragma once

#include "device/imaging/base/Orientation.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

/// The JPEG with the orientation applied, without decoding its pixels: blocks of coefficients
/// change places, so that no quality is lost and the file grows by nothing. Its metadata is left
/// out but for the profile; an Exif block is written where it is not empty.
///
/// `unsupported` where an axis that is mirrored ends inside of a block: what fills such a block up
/// would come to lie before the picture. Also for coefficients that are larger than any 8-bit
/// picture has them. `outOfMemory` where they take more memory than a decoder may have: those of a
/// picture without chroma subsampling of more than some 180 megapixels.
ImageResult<EncodedBytes> transformJpegLosslessly(Bytes bytes, const PictureHeader& header,
                                                  const Orientation& orientation, Bytes exif);

}  // namespace vecamera::device::imaging
