#pragma once

#include <utility>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

/// Opens the formats of Codecs.h; writes JPEG and PNG. Stateless, so any thread may use it.
class ImageFactory final : public UIImages {
 public:
  /// `threads` are those that the device has for its pictures.
  explicit ImageFactory(PictureLimits limits = {}, ThreadBudget threads = {})
      : limits_(limits), threads_(std::move(threads)) {}

  std::shared_ptr<UIImage> imageWithData(const Data& data) override;
  /// The quality from 0 to 1 becomes libjpeg's from 0 to 100, rounded; NaN counts as 0. Chroma is
  /// not subsampled at 1.0, and 4:2:0 below. Alpha is composed over white. Other orientations than
  /// up are written as an Exif block with that one tag.
  std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                double compressionQuality) override;
  std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) override;

 private:
  PictureLimits limits_;
  ThreadBudget threads_;
};

/// libjpeg's quality (0 to 100) for the platform's (0.0 to 1.0).
int jpegQuality(double compressionQuality);

}  // namespace vecamera::device::imaging
