#include "device/imaging/Images.h"

#include <algorithm>
#include <cmath>

#include "device/imaging/ExifBlock.h"
#include "device/imaging/JpegCodec.h"
#include "device/imaging/Picture.h"
#include "device/imaging/PngCodec.h"
#include "device/imaging/Render.h"

namespace vecamera::device {
namespace {

std::optional<Data> asData(std::optional<std::vector<std::uint8_t>> bytes) {
  if (!bytes) return std::nullopt;
  return Data(std::move(*bytes));
}

}  // namespace

int jpegQuality(double compressionQuality) {
  if (std::isnan(compressionQuality)) return 0;
  return static_cast<int>(std::lround(std::clamp(compressionQuality, 0.0, 1.0) * 100));
}

std::shared_ptr<UIImage> Images::imageWithData(const Data& data) {
  return Picture::open(data, limits_);
}

std::optional<Data> Images::UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                      double compressionQuality) {
  const auto source = sourceOf(image.get());
  if (!source) return std::nullopt;
  const auto bitmap = render(*source);
  if (!bitmap) return std::nullopt;
  std::vector<std::uint8_t> exif;
  if (image->imageOrientation() != UIImageOrientation::up)
    exif = exifWithOrientation(exifOrientation(image->imageOrientation()));
  return asData(encodeJpeg(*bitmap, jpegQuality(compressionQuality), exif));
}

std::optional<Data> Images::UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) {
  const auto source = sourceOf(image.get());
  if (!source) return std::nullopt;
  auto bitmap = render(*source);
  if (!bitmap) return std::nullopt;
  return asData(encodePng(std::move(*bitmap)));
}

}  // namespace vecamera::device
