#include "device/imaging/platform/ImageFactory.h"

#include <algorithm>
#include <cmath>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/ExifOrientation.h"
#include "device/imaging/pipeline/Encode.h"
#include "device/imaging/platform/DeviceImage.h"

namespace vecamera::device::imaging {
namespace {

std::optional<Data> asData(ImageResult<EncodedBytes> encoded) {
  if (!encoded) return std::nullopt;
  return Data(std::move(*encoded));
}

}  // namespace

int jpegQuality(double compressionQuality) {
  if (std::isnan(compressionQuality)) return 0;
  return static_cast<int>(std::lround(std::clamp(compressionQuality, 0.0, 1.0) * 100));
}

std::shared_ptr<UIImage> ImageFactory::imageWithData(const Data& data) {
  return DeviceImage::open(data, limits_).value().value_or(nullptr);
}

std::optional<Data> ImageFactory::UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                            double compressionQuality) {
  const auto pixels = lazyImageOf(image.get());
  if (!pixels) return std::nullopt;
  EncodedBytes exif;
  if (image->imageOrientation() != UIImageOrientation::up)
    exif = exifWithOrientation(exifOrientation(image->imageOrientation()));
  return asData(encodeJpeg(pixels, jpegQuality(compressionQuality), exif, threads_));
}

std::optional<Data> ImageFactory::UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) {
  const auto pixels = lazyImageOf(image.get());
  if (!pixels) return std::nullopt;
  return asData(encodePng(pixels, threads_));
}

}  // namespace vecamera::device::imaging
