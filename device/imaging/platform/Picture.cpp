#include "device/imaging/platform/Picture.h"

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

Picture::Picture(std::shared_ptr<const LazyImage> source, UIImageOrientation orientation)
    : bitmap_(std::make_shared<const StoredBitmap>(std::move(source))), orientation_(orientation) {}

std::shared_ptr<Picture> Picture::open(const Data& bytes, const PictureLimits& limits) {
  auto header = readHeader(bytes.bytes()).value();
  if (!header || !limits.allow(header->width, header->height)) return nullptr;
  const UIImageOrientation orientation = header->orientation;
  header->exif = {};
  return std::make_shared<Picture>(
      std::make_shared<const LazyImage>(EncodedImage{bytes, std::move(*header)}), orientation);
}

CGSize Picture::size() const {
  const auto width = static_cast<double>(bitmap_->width());
  const auto height = static_cast<double>(bitmap_->height());
  if (orientationFor(orientation_).swapsAxes) return {height, width};
  return {width, height};
}

std::shared_ptr<const LazyImage> sourceOf(const UIImage* image) {
  const auto* picture = dynamic_cast<const Picture*>(image);
  return picture ? picture->source() : nullptr;
}

std::shared_ptr<const LazyImage> sourceOf(const CGImage* bitmap) {
  const auto* stored = dynamic_cast<const StoredBitmap*>(bitmap);
  return stored ? stored->source() : nullptr;
}

}  // namespace vecamera::device::imaging
