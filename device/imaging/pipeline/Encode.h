#pragma once

#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// The source as JPEG, `quality` being libjpeg's, with the Exif block where it is not empty. It
/// takes the fastest path that the picture allows:
///
/// - a JPEG that is only oriented, at the best quality, has its blocks of coefficients moved;
/// - one stored JPEG that fills the canvas, oriented, scaled and cropped, stays in the planes in
///   which JPEGs store their components, and no bitmap is made;
/// - anything else is rendered to pixels first.
///
/// All give the same picture within the rounding of their steps. `unsupported` for sides over the
/// format's. Any thread.
ImageResult<EncodedBytes> encodeJpeg(const std::shared_ptr<const LazyImage>& image, int quality,
                                     Bytes exif, const ThreadBudget& threads);

/// The source as PNG; the number of threads does not change the bytes. A JPEG that is kept as it is
/// stored goes from its rows to the file's without ever being a whole bitmap; grey ones stay grey.
/// Any thread.
ImageResult<EncodedBytes> encodePng(const std::shared_ptr<const LazyImage>& image,
                                    const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
