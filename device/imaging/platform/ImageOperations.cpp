#include "device/imaging/platform/ImageOperations.h"

#include <algorithm>
#include <cmath>

#include "device/imaging/pipeline/Encode.h"
#include "device/imaging/platform/DeviceImage.h"
#include "device/imaging/platform/Graphics.h"

namespace vecamera::device::imaging {
namespace {

std::shared_ptr<UIImage> drawnUpright(const std::shared_ptr<UIImage>& image, CGSize canvas,
                                      const CGRect& rect) {
  // The canvas is no larger than the picture, which its own limits let in.
  Graphics graphics(PictureLimits{UINT64_MAX});
  const auto context = graphics.beginImageContext(canvas);
  context->drawInRect(image, rect);
  return context->imageFromCurrentImageContext();
}

}  // namespace

std::shared_ptr<UIImage> croppedUpright(const std::shared_ptr<UIImage>& image,
                                        const CGRect& pixelsOfUprightImage) {
  if (!lazyImageOf(image.get())) return nullptr;
  const CGSize size = image->size();
  const CGRect& rect = pixelsOfUprightImage;
  const double left = std::max(std::floor(rect.x), 0.0);
  const double top = std::max(std::floor(rect.y), 0.0);
  const double right = std::min(std::ceil(rect.x + rect.width), size.width);
  const double bottom = std::min(std::ceil(rect.y + rect.height), size.height);
  // The comparisons are false for what is no number.
  if (!(rect.width > 0 && rect.height > 0 && right > left && bottom > top)) return nullptr;
  return drawnUpright(image, {right - left, bottom - top}, {-left, -top, size.width, size.height});
}

ImageResult<Data> thumbnail(const Data& data, std::size_t maxSide) {
  constexpr int quality = 80;
  if (maxSide == 0) return Failure(ImageError::unsupported);
  const auto image = DeviceImage::open(data, {});
  if (!image) return image.failure();
  const CGSize size = (*image)->size();
  const double factor =
      std::min(1.0, static_cast<double>(maxSide) / std::max(size.width, size.height));
  const CGSize canvas{std::max(1.0, std::round(size.width * factor)),
                      std::max(1.0, std::round(size.height * factor))};
  const auto drawn = drawnUpright(*image, canvas, {0, 0, canvas.width, canvas.height});
  auto encoded = encodeJpeg(lazyImageOf(drawn.get()), quality, {}, {});
  if (!encoded) return encoded.failure();
  return Data(std::move(*encoded));
}

}  // namespace vecamera::device::imaging
