#include "ios/Sources/Images.h"

#import <CoreImage/CoreImage.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>

#include "ios/Sources/Value.h"

namespace vecamera_ios {
namespace {

class Bitmap : public vecamera::CGImage {
 public:
  explicit Bitmap(CGImageRef native) : native_(CGImageRetain(native)) {}
  ~Bitmap() override { CGImageRelease(native_); }
  std::size_t width() const override { return CGImageGetWidth(native_); }
  std::size_t height() const override { return CGImageGetHeight(native_); }
  CGImageRef native() const { return native_; }

 private:
  const CGImageRef native_;
};

std::atomic<std::uint64_t>& maxPixels() {
  static std::atomic<std::uint64_t> pixels{NSProcessInfo.processInfo.physicalMemory / 32};
  return pixels;
}

/// Whether a bitmap of that many pixels is to be made at all. Not for sides that are no numbers.
bool fits(double width, double height) {
  return width > 0 && height > 0 &&
         std::ceil(width) * std::ceil(height) <= static_cast<double>(maxBitmapPixels());
}

/// The picture with a bitmap in place of its `CIImage`; nil where that cannot be rendered. Not
/// drawn: the bitmap is to be turned as the `CIImage` was, so that the orientation stays what it
/// says.
UIImage* rendered(UIImage* picture) {
  CIImage* const image = picture.CIImage;
  const CGRect extent = image.extent;  // may be infinite
  if (!fits(extent.size.width, extent.size.height)) return nil;
  const CGImageRef bitmap = [[CIContext context] createCGImage:image fromRect:extent];
  if (!bitmap) return nil;
  UIImage* const made = [UIImage imageWithCGImage:bitmap
                                            scale:picture.scale
                                      orientation:picture.imageOrientation];
  CGImageRelease(bitmap);
  return made;
}

class Picture : public vecamera::UIImage, public NativeReference {
 public:
  explicit Picture(::UIImage* native) : native_(native) {}

  vecamera::CGSize size() const override {
    const CGSize size = native_.size;
    return {size.width, size.height};
  }
  vecamera::UIImageOrientation imageOrientation() const override {
    return static_cast<vecamera::UIImageOrientation>(native_.imageOrientation);
  }
  double scale() const override { return native_.scale; }
  std::shared_ptr<const vecamera::CGImage> cgImage() const override {
    @autoreleasepool {
      const CGImageRef bitmap = withBitmap().CGImage;
      return bitmap ? std::make_shared<Bitmap>(bitmap) : nullptr;
    }
  }
  id native() const override { return native_; }

  /// The native picture, or what was rendered of it. A picture without a bitmap has no encoded form
  /// and cannot be turned. Nil where there is none.
  ::UIImage* withBitmap() const {
    if (!native_.CIImage || native_.CGImage) return native_;
    std::call_once(isRendered_, [this] { rendered_ = rendered(native_); });
    return rendered_;
  }

 private:
  ::UIImage* const native_;
  mutable std::once_flag isRendered_;
  mutable ::UIImage* rendered_ = nil;
};

UIImage* withBitmap(const std::shared_ptr<vecamera::UIImage>& image) {
  const auto* picture = dynamic_cast<const Picture*>(image.get());
  return picture ? picture->withBitmap() : nil;
}

std::optional<vecamera::Data> dataOf(NSData* encoded) {
  return encoded ? std::optional(adoptData(encoded)) : std::nullopt;
}

/// UIKit's contexts run down as the module's do.
class Surface : public vecamera::CGContext {
 public:
  explicit Surface(CGContextRef native) : native_(native) {}
  void translateBy(double x, double y) override { CGContextTranslateCTM(native_, x, y); }
  void rotateBy(double radians) override { CGContextRotateCTM(native_, radians); }
  void scaleBy(double x, double y) override { CGContextScaleCTM(native_, x, y); }
  void drawImage(const std::shared_ptr<const vecamera::CGImage>& image,
                 const vecamera::CGRect& rect) override {
    @autoreleasepool {
      const CGRect target = CGRectMake(rect.x, rect.y, rect.width, rect.height);
      CGContextDrawImage(native_, target, nativeImage(image.get()));
    }
  }

 private:
  const CGContextRef native_;
};

class ImageContext : public vecamera::UIGraphicsImageContext {
 public:
  /// One that draws nothing and has no picture.
  ImageContext() = default;
  explicit ImageContext(CGSize size) {
    @autoreleasepool {
      const CGContextRef outer = UIGraphicsGetCurrentContext();
      // From iOS 17 on it raises where memory is short; before, there is no context then.
      @try {
        UIGraphicsBeginImageContextWithOptions(size, NO, 1);
      } @catch (NSException* exception) {
        NSLog(@"VECamera: no image context: %@", exception.reason);
        return;
      }
      const CGContextRef current = UIGraphicsGetCurrentContext();
      // Without one of its own, an outer context is neither drawn on nor ended.
      if (current && current == outer) return;
      mustEnd_ = true;
      if (current) surface_.emplace(current);
    }
  }
  ~ImageContext() override {
    @autoreleasepool {
      if (mustEnd_) UIGraphicsEndImageContext();
    }
  }

  vecamera::CGContext* currentContext() override { return surface_ ? &*surface_ : nullptr; }
  void drawInRect(const std::shared_ptr<vecamera::UIImage>& image,
                  const vecamera::CGRect& rect) override {
    const auto* picture = dynamic_cast<const Picture*>(image.get());
    if (!surface_ || !picture) return;
    @autoreleasepool {
      [picture->native() drawInRect:CGRectMake(rect.x, rect.y, rect.width, rect.height)];
    }
  }
  std::shared_ptr<vecamera::UIImage> imageFromCurrentImageContext() override {
    if (!surface_) return nullptr;
    @autoreleasepool {
      return imageOf(UIGraphicsGetImageFromCurrentImageContext());
    }
  }

 private:
  bool mustEnd_ = false;
  std::optional<Surface> surface_;
};

}  // namespace

std::uint64_t maxBitmapPixels() {
  return maxPixels();
}

void setMaxBitmapPixels(std::uint64_t pixels) {
  maxPixels() = pixels;
}

std::shared_ptr<vecamera::UIImage> imageOf(UIImage* image) {
  return image ? std::make_shared<Picture>(image) : nullptr;
}

CGImageRef nativeImage(const vecamera::CGImage* image) {
  const auto* bitmap = dynamic_cast<const Bitmap*>(image);
  return bitmap ? bitmap->native() : nullptr;
}

std::shared_ptr<vecamera::UIImage> Images::imageWithData(const vecamera::Data& data) {
  @autoreleasepool {
    return imageOf([UIImage imageWithData:toNSData(data)]);
  }
}

std::optional<vecamera::Data> Images::UIImageJPEGRepresentation(
    const std::shared_ptr<vecamera::UIImage>& image, double compressionQuality) {
  @autoreleasepool {
    UIImage* const picture = withBitmap(image);
    if (!picture) return std::nullopt;
    // Not a number is the lowest.
    const double quality = compressionQuality > 0 ? std::min(compressionQuality, 1.0) : 0;
    return dataOf(::UIImageJPEGRepresentation(picture, quality));
  }
}

std::optional<vecamera::Data> Images::UIImagePNGRepresentation(
    const std::shared_ptr<vecamera::UIImage>& image) {
  @autoreleasepool {
    UIImage* const picture = withBitmap(image);
    if (!picture) return std::nullopt;
    return dataOf(::UIImagePNGRepresentation(picture));
  }
}

std::unique_ptr<vecamera::UIGraphicsImageContext> Graphics::beginImageContext(
    vecamera::CGSize size) {
  if (!fits(size.width, size.height)) return std::make_unique<ImageContext>();
  return std::make_unique<ImageContext>(CGSizeMake(size.width, size.height));
}

}  // namespace vecamera_ios
