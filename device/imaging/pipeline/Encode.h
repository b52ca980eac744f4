#pragma once

#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// Encodes the picture as JPEG, with the Exif block where it is not empty. `quality` is libjpeg's,
/// 0 to 100. The fastest path that the picture allows is taken:
///
/// - A JPEG that is only oriented, at the best quality, has its blocks of coefficients moved.
/// - One stored JPEG that fills the canvas, oriented, scaled and cropped, is resampled plane by
///   plane, as JPEGs store them, without a bitmap.
/// - Anything else is rendered to pixels first.
///
/// All paths give the same picture, but for rounding. `unsupported` for sides over the format's.
/// Any thread.
ImageResult<EncodedBytes> encodeJpeg(const std::shared_ptr<const LazyImage>& image, int quality,
                                     Bytes exif, const ThreadBudget& threads);

/// Encodes the picture as PNG. The number of threads does not change the bytes. A stored JPEG is
/// encoded row by row as it is decoded, without a bitmap; a grey one stays grey. Any thread.
ImageResult<EncodedBytes> encodePng(const std::shared_ptr<const LazyImage>& image,
                                    const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
