#pragma once

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/ImageResult.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// The bare bitmap of an image. It exists, with its size, even where decoding will fail.
class DeviceBitmap final : public CGImage {
 public:
  explicit DeviceBitmap(std::shared_ptr<const LazyImage> image) : image_(std::move(image)) {}
  std::size_t width() const override { return image_->width(); }
  std::size_t height() const override { return image_->height(); }
  const std::shared_ptr<const LazyImage>& image() const { return image_; }

 private:
  std::shared_ptr<const LazyImage> image_;
};

/// The device's image, always at scale 1. Objects of other classes that stand in for an image have
/// no pixels for this device: drawing one does nothing, encoding one fails.
class DeviceImage final : public UIImage {
 public:
  DeviceImage(std::shared_ptr<const LazyImage> image, UIImageOrientation orientation)
      : bitmap_(std::make_shared<const DeviceBitmap>(std::move(image))),
        orientation_(orientation) {}

  /// Reads the header of the bytes only. `unsupported` where they are no known picture or claim
  /// more pixels than the limits allow.
  static ImageResult<std::shared_ptr<UIImage>> open(const Data& bytes, const PictureLimits& limits);

  CGSize size() const override;
  UIImageOrientation imageOrientation() const override { return orientation_; }
  double scale() const override { return 1; }
  std::shared_ptr<const CGImage> cgImage() const override { return bitmap_; }

 private:
  std::shared_ptr<const DeviceBitmap> bitmap_;
  UIImageOrientation orientation_;
};

/// The image behind the object; null where it is null or not of this device.
std::shared_ptr<const LazyImage> lazyImageOf(const UIImage* image);
std::shared_ptr<const LazyImage> lazyImageOf(const CGImage* bitmap);

}  // namespace vecamera::device::imaging
