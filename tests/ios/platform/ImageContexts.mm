// UIKit's image contexts: a stack for each thread.
#import <UIKit/UIKit.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#import "tests/ios/platform/GraphicsContext.h"
#import "tests/ios/platform/SoftwareImages.h"
#import "tests/ios/platform/SoftwarePhone.h"

namespace {

/// What a phone of today has, pixels for a point; a scale of 0 asks for it.
constexpr CGFloat screenScale = 3;

struct ImageContext {
  std::unique_ptr<vecamera::UIGraphicsImageContext> device;
  CGContextRef context;
};

thread_local std::vector<ImageContext> contexts;

}  // namespace

extern "C" {

void UIGraphicsBeginImageContextWithOptions(CGSize size, BOOL opaque, CGFloat scale) {
  if (opaque) {
    std::fputs("an opaque image context paints the picture's clear parts black\n", stderr);
    std::abort();
  }
  const CGFloat pixels = scale == 0 ? screenScale : scale;
  auto device = vecamera::ios::softwarePlatform().graphics.beginImageContext(
      {size.width * pixels, size.height * pixels});
  vecamera::CGContext* canvas = device->currentContext();
  if (!canvas)
    [[NSException exceptionWithName:NSInternalInconsistencyException
                             reason:@"no bitmap of this size can be made"
                           userInfo:nil] raise];
  if (pixels != 1) canvas->scaleBy(pixels, pixels);
  contexts.push_back({std::move(device), vecamera::ios::makeContext(*canvas)});
}

void UIGraphicsBeginImageContext(CGSize size) {
  UIGraphicsBeginImageContextWithOptions(size, NO, 1);
}

CGContextRef UIGraphicsGetCurrentContext() {
  return contexts.empty() ? nullptr : contexts.back().context;
}

UIImage* UIGraphicsGetImageFromCurrentImageContext() {
  if (contexts.empty()) return nil;
  return vecamera::ios::imageFromDevice(contexts.back().device->imageFromCurrentImageContext());
}

void UIGraphicsEndImageContext() {
  if (contexts.empty()) {
    std::fputs("an image context is ended on a thread that made none\n", stderr);
    std::abort();
  }
  CGContextRelease(contexts.back().context);
  contexts.pop_back();
}
}

@implementation UIImage (Drawing)
- (void)drawInRect:(CGRect)rect {
  auto picture = vecamera::ios::deviceImageOf(self);
  if (!picture && self.CIImage.CGImage)
    picture = vecamera::ios::deviceImageOf([UIImage imageWithCGImage:self.CIImage.CGImage]);
  if (contexts.empty() || !picture) return;
  contexts.back().device->drawInRect(
      picture, {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height});
}
@end
