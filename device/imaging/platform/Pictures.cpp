#include "device/imaging/platform/Pictures.h"

#include <algorithm>
#include <cmath>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/platform/Canvas.h"
#include "device/imaging/platform/Images.h"
#include "device/imaging/platform/Picture.h"

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
                                        const CGRect& pixelsOfUprightPicture) {
  if (!sourceOf(image.get())) return nullptr;
  const CGSize size = image->size();
  const CGRect& rect = pixelsOfUprightPicture;
  const double left = std::max(std::floor(rect.x), 0.0);
  const double top = std::max(std::floor(rect.y), 0.0);
  const double right = std::min(std::ceil(rect.x + rect.width), size.width);
  const double bottom = std::min(std::ceil(rect.y + rect.height), size.height);
  // The comparisons are false for what is no number.
  if (!(rect.width > 0 && rect.height > 0 && right > left && bottom > top)) return nullptr;
  return drawnUpright(image, {right - left, bottom - top}, {-left, -top, size.width, size.height});
}

std::optional<PictureInfo> probe(const Data& data) {
  const auto header = readHeader(data.bytes());
  if (!header) return std::nullopt;
  PictureInfo info;
  info.format = header->format;
  info.extension = fileExtension(header->format);
  info.type = typeIdentifier(header->format);
  info.storedWidth = header->width;
  info.storedHeight = header->height;
  info.orientation = header->orientation;
  const bool swaps = orientationFor(header->orientation).swapsAxes;
  info.displayedWidth = swaps ? header->height : header->width;
  info.displayedHeight = swaps ? header->width : header->height;
  return info;
}

std::optional<Data> thumbnail(const Data& data, std::size_t maxSide) {
  constexpr double quality = 0.8;
  Images images;
  const auto image = images.imageWithData(data);
  if (!image || maxSide == 0) return std::nullopt;
  const CGSize size = image->size();
  const double factor =
      std::min(1.0, static_cast<double>(maxSide) / std::max(size.width, size.height));
  const CGSize canvas{std::max(1.0, std::round(size.width * factor)),
                      std::max(1.0, std::round(size.height * factor))};
  return images.UIImageJPEGRepresentation(
      drawnUpright(image, canvas, {0, 0, canvas.width, canvas.height}), quality);
}

std::optional<Bitmap> pixelsOf(const UIImage& image) {
  const auto source = sourceOf(&image);
  return source ? render(*source).value() : std::nullopt;
}

}  // namespace vecamera::device::imaging
