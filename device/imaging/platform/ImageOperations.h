#pragma once

#include <cstddef>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/ImageResult.h"

namespace vecamera::device::imaging {

// What the rest of the device does with images beyond the platform's interfaces. Any thread.

/// The part of the image inside the rectangle, which is in pixels of the upright image, as the
/// platform's edit step delivers it: upright, at scale 1, not rendered before it is needed. The
/// rectangle is widened to whole pixels and clipped to the image; null where nothing is left.
std::shared_ptr<UIImage> croppedUpright(const std::shared_ptr<UIImage>& image,
                                        const CGRect& pixelsOfUprightImage);

/// A JPEG of the upright picture, no side longer than `maxSide` pixels and never enlarged.
ImageResult<Data> thumbnail(const Data& data, std::size_t maxSide);

}  // namespace vecamera::device::imaging
