#pragma once

#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/platform/Picture.h"

namespace vecamera::device::imaging {

/// The source as JPEG, `quality` being libjpeg's, with the Exif block where it is not empty. It
/// goes the shortest way that the picture's record allows:
///
/// - a JPEG that is only turned, at the best quality, has its blocks of coefficients moved;
/// - one stored picture that fills the canvas, turned, scaled and cut, stays in the planes in which
///   JPEGs store their components, and no bitmap is made;
/// - anything else is drawn on a canvas of pixels first.
///
/// All give the same picture within the rounding of their steps. Nothing where a picture that shows
/// cannot be decoded, the sides are over the format's or the memory cannot be had. Any thread.
EncodedBytes jpegOf(const std::shared_ptr<const Source>& source, int quality, Bytes exif,
                    const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
