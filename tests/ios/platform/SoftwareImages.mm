#import "tests/ios/platform/SoftwareImages.h"

#include <cmath>
#include <utility>

#include "device/imaging/platform/DeviceImage.h"
#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

using vecamera::ios::softwarePlatform;

@interface UIImage () <SoftwareObject>
@end

// The device's pictures are all of scale 1.
@implementation UIImage {
  std::shared_ptr<vecamera::UIImage> device_;
  CGImageRef bitmap_;
  CIImage* unrendered_;
  CGFloat scale_;
}

- (instancetype)initWithDevice:(std::shared_ptr<vecamera::UIImage>)device scale:(CGFloat)scale {
  if (!device) return nil;
  self = [super init];
  if (!self) return nil;
  device_ = std::move(device);
  bitmap_ = vecamera::ios::makeCGImage(device_->cgImage());
  scale_ = scale;
  return self;
}
- (instancetype)initWithData:(NSData*)data {
  return [self
      initWithDevice:softwarePlatform().images.imageWithData(vecamera::ios::dataForDevice(data))
               scale:1];
}
- (instancetype)initWithCGImage:(CGImageRef)image {
  return [self initWithCGImage:image scale:1 orientation:UIImageOrientationUp];
}
- (instancetype)initWithCGImage:(CGImageRef)image
                          scale:(CGFloat)scale
                    orientation:(UIImageOrientation)orientation {
  const auto bitmap = vecamera::ios::deviceImageOf(image);
  auto picture = vecamera::device::imaging::lazyImageOf(bitmap.get());
  if (!picture) return nil;
  return [self
      initWithDevice:std::make_shared<vecamera::device::imaging::DeviceImage>(
                         std::move(picture), static_cast<vecamera::UIImageOrientation>(orientation))
               scale:scale];
}
- (instancetype)initWithCIImage:(CIImage*)image {
  self = [super init];
  if (!self) return nil;
  unrendered_ = image;
  scale_ = 1;
  return self;
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  return nil;
}
- (void)encodeWithCoder:(NSCoder*)coder {
}
- (void)dealloc {
  CGImageRelease(bitmap_);
}

+ (UIImage*)imageWithData:(NSData*)data {
  return [[self alloc] initWithData:data];
}
+ (UIImage*)imageWithCGImage:(CGImageRef)image {
  return [[self alloc] initWithCGImage:image];
}
+ (UIImage*)imageWithCGImage:(CGImageRef)image
                       scale:(CGFloat)scale
                 orientation:(UIImageOrientation)orientation {
  return [[self alloc] initWithCGImage:image scale:scale orientation:orientation];
}
+ (UIImage*)imageWithCIImage:(CIImage*)image {
  return [[self alloc] initWithCIImage:image];
}

- (CGSize)size {
  if (unrendered_) return unrendered_.extent.size;
  const auto size = device_->size();
  return CGSizeMake(size.width / scale_, size.height / scale_);
}
- (CGFloat)scale {
  return scale_;
}
- (UIImageOrientation)imageOrientation {
  return device_ ? static_cast<UIImageOrientation>(device_->imageOrientation())
                 : UIImageOrientationUp;
}
- (CGImageRef)CGImage {
  return bitmap_;
}
- (CIImage*)CIImage {
  return unrendered_;
}
- (std::shared_ptr<vecamera::Object>)softwareObject {
  return device_;
}
- (std::shared_ptr<vecamera::UIImage>)device {
  return device_;
}
@end

namespace vecamera::ios {

::UIImage* imageFromDevice(std::shared_ptr<UIImage> image) {
  return [[::UIImage alloc] initWithDevice:std::move(image) scale:1];
}

std::shared_ptr<UIImage> deviceImageOf(::UIImage* image) {
  return image ? [image device] : nullptr;
}

}  // namespace vecamera::ios

extern "C" {

NSData* UIImageJPEGRepresentation(UIImage* image, CGFloat quality) {
  const auto picture = vecamera::ios::deviceImageOf(image);
  if (!picture) return nil;
  const auto bytes = softwarePlatform().images.UIImageJPEGRepresentation(picture, quality);
  return bytes ? vecamera::ios::dataFromDevice(*bytes) : nil;
}

NSData* UIImagePNGRepresentation(UIImage* image) {
  const auto picture = vecamera::ios::deviceImageOf(image);
  if (!picture) return nil;
  const auto bytes = softwarePlatform().images.UIImagePNGRepresentation(picture);
  return bytes ? vecamera::ios::dataFromDevice(*bytes) : nil;
}
}
