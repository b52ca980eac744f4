#include "VECamera/imaging/ScalingAndOrientation.h"

#include <algorithm>
#include <numbers>

namespace vecamera {
namespace {

std::shared_ptr<UIImage> drawn(UIGraphics& graphics, const std::shared_ptr<UIImage>& image,
                               const ScalingGeometry& geometry) {
  const auto context = graphics.beginImageContext(geometry.canvas);
  context->drawInRect(image, geometry.drawRect);
  return context->imageFromCurrentImageContext();
}

struct Rotation {
  double radians;
  bool swapsSides;
};

Rotation rotationFor(UIImageOrientation orientation) {
  constexpr double pi = std::numbers::pi;
  switch (orientation) {
    case UIImageOrientation::down: return {pi, false};
    case UIImageOrientation::left: return {-pi / 2, true};
    case UIImageOrientation::right: return {pi / 2, true};
    // Settled: mirrored pictures are not unmirrored.
    default: return {0, false};
  }
}

}  // namespace

ScalingGeometry geometryForScalingAndCropping(CGSize source, CGSize target) {
  if (source == target) return {target, {0, 0, target.width, target.height}};
  const double widthFactor = target.width / source.width;
  const double heightFactor = target.height / source.height;
  const double factor = heightFactor < widthFactor ? widthFactor : heightFactor;
  CGRect rect{0, 0, source.width * factor, source.height * factor};
  if (heightFactor < widthFactor)
    rect.y = (target.height - rect.height) * 0.5;
  else if (widthFactor < heightFactor)
    rect.x = (target.width - rect.width) * 0.5;
  return {target, rect};
}

ScalingGeometry geometryForScalingNotCropping(CGSize source, CGSize target) {
  if (source == target) return {target, {0, 0, target.width, target.height}};
  const double widthFactor = target.width / source.width;
  const double heightFactor = target.height / source.height;
  const double factor = heightFactor < widthFactor ? heightFactor : widthFactor;
  const CGSize scaled{std::min(source.width * factor, target.width),
                      std::min(source.height * factor, target.height)};
  return {scaled, {0, 0, scaled.width, scaled.height}};
}

std::shared_ptr<UIImage> imageByScalingAndCroppingForSize(UIGraphics& graphics,
                                                          const std::shared_ptr<UIImage>& image,
                                                          CGSize target) {
  return drawn(graphics, image, geometryForScalingAndCropping(image->size(), target));
}

std::shared_ptr<UIImage> imageByScalingNotCroppingForSize(UIGraphics& graphics,
                                                          const std::shared_ptr<UIImage>& image,
                                                          CGSize target) {
  return drawn(graphics, image, geometryForScalingNotCropping(image->size(), target));
}

std::shared_ptr<UIImage> imageCorrectedForCaptureOrientation(UIGraphics& graphics,
                                                             const std::shared_ptr<UIImage>& image,
                                                             UIImageOrientation orientation) {
  const CGSize size = image->size();
  const Rotation rotation = rotationFor(orientation);
  const auto canvas = graphics.beginImageContext(size);
  CGContext* context = canvas->currentContext();
  if (context) {
    context->translateBy(size.width * 0.5, size.height * 0.5);
    context->rotateBy(rotation.radians);
    context->scaleBy(1.0, -1.0);
  }
  const double width = rotation.swapsSides ? size.height : size.width;
  const double height = rotation.swapsSides ? size.width : size.height;
  const auto bitmap = image->cgImage();
  if (bitmap && context) context->drawImage(bitmap, {-width * 0.5, -height * 0.5, width, height});
  // Settled: this shift stands after the drawing and so moves nothing.
  if (rotation.swapsSides && context) context->translateBy(-size.height * 0.5, -size.width * 0.5);
  return canvas->imageFromCurrentImageContext();
}

}  // namespace vecamera
