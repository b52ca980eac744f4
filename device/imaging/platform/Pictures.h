#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

// What the rest of the device asks of pictures beyond the platform's interfaces. Any thread.

/// The part of the picture inside the rectangle, which is in pixels of the upright picture, as the
/// platform's edit step delivers it: upright, at scale 1, not carried out before it is needed. The
/// rectangle is widened to whole pixels and clipped to the picture; null where nothing is left.
std::shared_ptr<UIImage> croppedUpright(const std::shared_ptr<UIImage>& image,
                                        const CGRect& pixelsOfUprightPicture);

struct PictureInfo {
  PictureFormat format = PictureFormat::jpeg;
  /// "jpg", "png", "heic" or "webp".
  std::string extension;
  /// The platform's uniform type identifier.
  std::string type;
  std::size_t storedWidth = 0;
  std::size_t storedHeight = 0;
  UIImageOrientation orientation = UIImageOrientation::up;
  /// With the orientation applied.
  std::size_t displayedWidth = 0;
  std::size_t displayedHeight = 0;
};

/// What the head of the bytes tells; nothing where they are no known picture. Pixels are not
/// decoded, so a damaged picture may still have a head.
std::optional<PictureInfo> probe(const Data& data);

/// A JPEG of the upright picture, no side longer than `maxSide` pixels and never enlarged. Nothing
/// where the bytes cannot be decoded.
std::optional<Data> thumbnail(const Data& data, std::size_t maxSide);

/// The stored pixels of the picture, without its orientation; nothing where it cannot be decoded.
std::optional<Bitmap> pixelsOf(const UIImage& image);

}  // namespace vecamera::device::imaging
