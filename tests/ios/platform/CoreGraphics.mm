#import "tests/ios/platform/CoreGraphics.h"

#import <UIKit/UIKit.h>

#include <atomic>
#include <memory>
#include <utility>

#import "tests/ios/platform/GraphicsContext.h"
#import "tests/ios/platform/SoftwareImages.h"

namespace {

std::atomic<std::size_t> living{0};

/// What every reference of Core Graphics leads to.
class Counted {
 public:
  Counted() { ++living; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --living; }

  std::atomic<int> references{1};
};

template <class T>
T* retained(T* object) {
  if (object) ++object->references;
  return object;
}

template <class T>
void release(T* object) {
  if (object && --object->references == 0) delete object;
}

}  // namespace

struct CGImage : Counted {
  std::shared_ptr<const vecamera::CGImage> device;
};

struct CGContext : Counted {
  vecamera::CGContext* device = nullptr;
};

const CGPoint CGPointZero = {0, 0};
const CGSize CGSizeZero = {0, 0};
const CGRect CGRectZero = {{0, 0}, {0, 0}};
const CGAffineTransform CGAffineTransformIdentity = {1, 0, 0, 1, 0, 0};

extern "C" {

CGImageRef CGImageRetain(CGImageRef image) {
  return retained(image);
}
void CGImageRelease(CGImageRef image) {
  release(image);
}
size_t CGImageGetWidth(CGImageRef image) {
  return image ? image->device->width() : 0;
}
size_t CGImageGetHeight(CGImageRef image) {
  return image ? image->device->height() : 0;
}

CGContextRef CGContextRetain(CGContextRef context) {
  return retained(context);
}
void CGContextRelease(CGContextRef context) {
  release(context);
}
void CGContextTranslateCTM(CGContextRef context, CGFloat x, CGFloat y) {
  if (context) context->device->translateBy(x, y);
}
void CGContextRotateCTM(CGContextRef context, CGFloat radians) {
  if (context) context->device->rotateBy(radians);
}
void CGContextScaleCTM(CGContextRef context, CGFloat x, CGFloat y) {
  if (context) context->device->scaleBy(x, y);
}
void CGContextDrawImage(CGContextRef context, CGRect rect, CGImageRef image) {
  if (!context || !image) return;
  context->device->drawImage(image->device,
                             {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height});
}
}

namespace vecamera::ios {

std::size_t livingGraphics() {
  return living;
}

CGImageRef makeCGImage(std::shared_ptr<const CGImage> image) {
  if (!image) return nullptr;
  auto* made = new ::CGImage;
  made->device = std::move(image);
  return made;
}

std::shared_ptr<const CGImage> deviceImageOf(CGImageRef image) {
  return image ? image->device : nullptr;
}

CGContextRef makeContext(CGContext& context) {
  auto* made = new ::CGContext;
  made->device = &context;
  return made;
}

}  // namespace vecamera::ios
