#pragma once

#include <cstddef>
#include <memory>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// The bare bitmap of a picture. It exists, with its size, even where decoding will fail.
class StoredBitmap final : public CGImage {
 public:
  explicit StoredBitmap(std::shared_ptr<const LazyImage> source) : source_(std::move(source)) {}
  std::size_t width() const override { return source_->width(); }
  std::size_t height() const override { return source_->height(); }
  const std::shared_ptr<const LazyImage>& source() const { return source_; }

 private:
  std::shared_ptr<const LazyImage> source_;
};

/// The device's picture, always at scale 1. Objects of other classes that stand in for a picture
/// have no pixels for this device: drawing one does nothing, encoding one gives nothing.
class Picture final : public UIImage {
 public:
  Picture(std::shared_ptr<const LazyImage> source, UIImageOrientation orientation);

  /// Reads the head of the bytes only. Null where they are no known picture or claim more pixels
  /// than the limits allow.
  static std::shared_ptr<Picture> open(const Data& bytes, const PictureLimits& limits);

  CGSize size() const override;
  UIImageOrientation imageOrientation() const override { return orientation_; }
  double scale() const override { return 1; }
  std::shared_ptr<const CGImage> cgImage() const override { return bitmap_; }
  const std::shared_ptr<const LazyImage>& source() const { return bitmap_->source(); }

 private:
  std::shared_ptr<const StoredBitmap> bitmap_;
  UIImageOrientation orientation_;
};

/// The source behind the object, or null where the object is null or not of this device.
std::shared_ptr<const LazyImage> sourceOf(const UIImage* image);
std::shared_ptr<const LazyImage> sourceOf(const CGImage* bitmap);

}  // namespace vecamera::device::imaging
