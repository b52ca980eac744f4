#include "device/imaging/platform/Graphics.h"

#include <cmath>
#include <optional>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/platform/DeviceImage.h"

namespace vecamera::device::imaging {
namespace {

/// From a unit of `width` by `height` stored pixels to the rectangle.
AffineMap mapToRect(const CGRect& rect, double width, double height) {
  return {rect.width / width, 0, 0, rect.height / height, rect.x, rect.y};
}

class Canvas final : public UIGraphicsImageContext, public CGContext {
 public:
  /// Without a list the canvas has no pixels and records nothing.
  explicit Canvas(std::optional<DrawList> drawList) : drawList_(std::move(drawList)) {}

  CGContext* currentContext() override { return drawList_ ? this : nullptr; }

  void drawInRect(const std::shared_ptr<UIImage>& image, const CGRect& rect) override {
    const auto drawn = lazyImageOf(image.get());
    if (!drawn) return;
    const CGSize shown = image->size();
    const AffineMap upright =
        affineMapOf(orientationFor(image->imageOrientation()), static_cast<double>(drawn->width()),
                    static_cast<double>(drawn->height()));
    record(drawn, compose(mapToRect(rect, shown.width, shown.height), upright));
  }

  std::shared_ptr<UIImage> imageFromCurrentImageContext() override {
    if (!drawList_) return nullptr;
    return std::make_shared<DeviceImage>(std::make_shared<const LazyImage>(*drawList_),
                                         UIImageOrientation::up);
  }

  void translateBy(double x, double y) override {
    matrix_ = compose(matrix_, AffineMap::translation(x, y));
  }
  void rotateBy(double radians) override {
    matrix_ = compose(matrix_, AffineMap::rotation(radians));
  }
  void scaleBy(double x, double y) override {
    matrix_ = compose(matrix_, AffineMap::scaling(x, y));
  }

  void drawImage(const std::shared_ptr<const CGImage>& image, const CGRect& rect) override {
    const auto drawn = lazyImageOf(image.get());
    if (!drawn) return;
    const auto width = static_cast<double>(drawn->width());
    const auto height = static_cast<double>(drawn->height());
    const AffineMap bottomUp{1, 0, 0, -1, 0, height};
    record(drawn, compose(mapToRect(rect, width, height), bottomUp));
  }

 private:
  void record(const std::shared_ptr<const LazyImage>& image, const AffineMap& map) {
    if (drawList_) drawList_->commands.push_back({image, compose(matrix_, map)});
  }

  std::optional<DrawList> drawList_;
  AffineMap matrix_;
};

/// A side in pixels. A size that was computed may miss a whole number by a rounding error, which
/// does not count as a further pixel.
double wholePixels(double points) {
  constexpr double roundingError = 1e-6;
  return std::ceil(points - roundingError);
}

}  // namespace

std::unique_ptr<UIGraphicsImageContext> Graphics::beginImageContext(CGSize size) {
  const double width = wholePixels(size.width);
  const double height = wholePixels(size.height);
  constexpr double maxSide = 1 << 30;
  // The comparisons are false for what is no number.
  if (!(width >= 1 && width <= maxSide && height >= 1 && height <= maxSide))
    return std::make_unique<Canvas>(std::nullopt);
  const DrawList empty{static_cast<std::size_t>(width), static_cast<std::size_t>(height), {}};
  if (!limits_.allow(empty.width, empty.height)) return std::make_unique<Canvas>(std::nullopt);
  return std::make_unique<Canvas>(empty);
}

}  // namespace vecamera::device::imaging
