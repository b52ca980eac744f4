#include "device/imaging/platform/Picture.h"

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

std::size_t Source::width() const {
  return encoded() ? encoded()->header.width : recording()->width;
}

std::size_t Source::height() const {
  return encoded() ? encoded()->header.height : recording()->height;
}

Picture::Picture(std::shared_ptr<const Source> source, UIImageOrientation orientation)
    : bitmap_(std::make_shared<const StoredBitmap>(std::move(source))), orientation_(orientation) {}

std::shared_ptr<Picture> Picture::open(const Data& bytes, const PictureLimits& limits) {
  auto header = readHeader(bytes.bytes());
  if (!header || !limits.allow(header->width, header->height)) return nullptr;
  const UIImageOrientation orientation = header->orientation;
  header->exif = {};
  return std::make_shared<Picture>(
      std::make_shared<const Source>(Encoded{bytes, std::move(*header)}), orientation);
}

CGSize Picture::size() const {
  const auto width = static_cast<double>(bitmap_->width());
  const auto height = static_cast<double>(bitmap_->height());
  if (turnFor(orientation_).swapsAxes) return {height, width};
  return {width, height};
}

std::shared_ptr<const Source> sourceOf(const UIImage* image) {
  const auto* picture = dynamic_cast<const Picture*>(image);
  return picture ? picture->source() : nullptr;
}

std::shared_ptr<const Source> sourceOf(const CGImage* bitmap) {
  const auto* stored = dynamic_cast<const StoredBitmap*>(bitmap);
  return stored ? stored->source() : nullptr;
}

}  // namespace vecamera::device::imaging
