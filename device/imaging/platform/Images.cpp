#include "device/imaging/platform/Images.h"

#include <algorithm>
#include <cmath>

#include "device/imaging/metadata/ExifBlock.h"
#include "device/imaging/pipeline/EncodeJpeg.h"
#include "device/imaging/pipeline/EncodePng.h"
#include "device/imaging/platform/Picture.h"

namespace vecamera::device::imaging {
namespace {

std::optional<Data> asData(ImageResult<EncodedBytes> bytes) {
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
  std::vector<std::uint8_t> exif;
  if (image->imageOrientation() != UIImageOrientation::up)
    exif = exifWithOrientation(exifOrientation(image->imageOrientation()));
  return asData(encodeJpeg(source, jpegQuality(compressionQuality), exif, threads_));
}

std::optional<Data> Images::UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) {
  const auto source = sourceOf(image.get());
  if (!source) return std::nullopt;
  return asData(encodePng(source, threads_));
}

}  // namespace vecamera::device::imaging
