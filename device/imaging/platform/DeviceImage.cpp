#include "device/imaging/platform/DeviceImage.h"

#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

ImageResult<std::shared_ptr<UIImage>> DeviceImage::open(const Data& bytes,
                                                        const PictureLimits& limits) {
  auto header = readHeader(bytes.bytes());
  if (!header) return header.failure();
  if (!limits.allow(header->width, header->height)) return Failure(ImageError::unsupported);
  const UIImageOrientation orientation = header->orientation;
  header->exif = {};
  return std::make_shared<DeviceImage>(
      std::make_shared<const LazyImage>(EncodedImage{bytes, std::move(*header)}), orientation);
}

CGSize DeviceImage::size() const {
  const auto width = static_cast<double>(bitmap_->width());
  const auto height = static_cast<double>(bitmap_->height());
  return sidesOf(orientationFor(orientation_), CGSize{width, height});
}

std::shared_ptr<const LazyImage> lazyImageOf(const UIImage* image) {
  const auto* own = dynamic_cast<const DeviceImage*>(image);
  return own ? lazyImageOf(own->cgImage().get()) : nullptr;
}

std::shared_ptr<const LazyImage> lazyImageOf(const CGImage* bitmap) {
  const auto* own = dynamic_cast<const DeviceBitmap*>(bitmap);
  return own ? own->image() : nullptr;
}

}  // namespace vecamera::device::imaging
