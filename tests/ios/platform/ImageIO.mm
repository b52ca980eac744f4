// Image I/O and the pictures of Core Image.
#import <CoreImage/CoreImage.h>

#include <memory>
#include <utility>

#import "tests/ios/platform/SoftwareImages.h"
#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

using vecamera::ios::dataForDevice;
using vecamera::ios::dictionaryForDevice;
using vecamera::ios::softwarePlatform;
using vecamera::ios::textForDevice;

/// Behind a `CGImageSourceRef`.
@interface SoftwareImageSource : NSObject {
 @public
  NSString* type;
}
@end
@implementation SoftwareImageSource
@end

/// Behind a `CGImageDestinationRef`. A destination that has its pictures is finalized at the latest
/// when it ends: the device then reports what it would have held.
@interface SoftwareImageDestination : NSObject {
 @public
  NSMutableData* buffer;
  std::unique_ptr<vecamera::CGImageDestination> device;
  bool isFilled;
}
@end
@implementation SoftwareImageDestination
- (bool)finalizeImages {
  isFilled = false;
  if (!device->finalize()) return false;
  const vecamera::Data data = device->data();
  [buffer appendBytes:data.bytes().data() length:data.size()];
  return true;
}
- (void)dealloc {
  @autoreleasepool {
    if (isFilled) [self finalizeImages];
  }
}
@end

static SoftwareImageDestination* destinationOf(CGImageDestinationRef destination) {
  return (__bridge SoftwareImageDestination*)(void*)destination;
}

extern "C" {

CGImageSourceRef CGImageSourceCreateWithData(CFDataRef data, CFDictionaryRef) {
  const auto device =
      softwarePlatform().imageIO.CGImageSourceCreateWithData(dataForDevice((__bridge NSData*)data));
  if (!device) return nullptr;
  SoftwareImageSource* source = [[SoftwareImageSource alloc] init];
  if (const auto type = device->type()) source->type = vecamera::ios::textFromDevice(*type);
  return (CGImageSourceRef)(__bridge_retained void*)source;
}

CFStringRef CGImageSourceGetType(CGImageSourceRef source) {
  return (__bridge CFStringRef)((__bridge SoftwareImageSource*)(void*)source)->type;
}

CGImageDestinationRef CGImageDestinationCreateWithData(CFMutableDataRef data, CFStringRef type,
                                                       size_t count, CFDictionaryRef) {
  auto device = softwarePlatform().imageIO.CGImageDestinationCreateWithData(
      {}, textForDevice((__bridge NSString*)type), count);
  if (!device) return nullptr;
  SoftwareImageDestination* destination = [[SoftwareImageDestination alloc] init];
  destination->buffer = (__bridge NSMutableData*)data;
  destination->device = std::move(device);
  return (CGImageDestinationRef)(__bridge_retained void*)destination;
}

void CGImageDestinationAddImage(CGImageDestinationRef destination, CGImageRef image,
                                CFDictionaryRef properties) {
  destinationOf(destination)
      ->device->addImage(vecamera::ios::deviceImageOf(image),
                         dictionaryForDevice((__bridge NSDictionary*)properties));
  destinationOf(destination)->isFilled = true;
}

bool CGImageDestinationFinalize(CGImageDestinationRef destination) {
  return [destinationOf(destination) finalizeImages];
}
}

@implementation CIImage {
  NSData* data_;
  NSDictionary* properties_;
  CGImageRef bitmap_;
  std::shared_ptr<vecamera::UIImage> picture_;
}
+ (CIImage*)imageWithData:(NSData*)data {
  return [[self alloc] initWithData:data];
}
+ (CIImage*)imageWithCGImage:(CGImageRef)image {
  CIImage* made = [[self alloc] init];
  made->bitmap_ = CGImageRetain(image);
  made->properties_ = @{};
  return made;
}
- (instancetype)initWithData:(NSData*)data {
  const auto properties = softwarePlatform().imageIO.CIImageProperties(dataForDevice(data));
  if (!properties || !(self = [super init])) return nil;
  data_ = data;
  properties_ = vecamera::ios::dictionaryFromDevice(*properties);
  return self;
}
- (void)dealloc {
  CGImageRelease(bitmap_);
}
- (NSDictionary<NSString*, id>*)properties {
  return properties_;
}
/// Nil where the picture was made of a file's bytes, as those are decoded when it is rendered.
- (CGImageRef)CGImage {
  return bitmap_;
}
- (CGImageRef)createBitmap CF_RETURNS_RETAINED {
  if (bitmap_) return CGImageRetain(bitmap_);
  const auto picture = softwarePlatform().images.imageWithData(dataForDevice(data_));
  return vecamera::ios::makeCGImage(picture ? picture->cgImage() : nullptr);
}
- (CGRect)extent {
  const CGImageRef bitmap = [self createBitmap];
  const CGRect extent = CGRectMake(0, 0, static_cast<CGFloat>(CGImageGetWidth(bitmap)),
                                   static_cast<CGFloat>(CGImageGetHeight(bitmap)));
  CGImageRelease(bitmap);
  return extent;
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  return nil;
}
- (void)encodeWithCoder:(NSCoder*)coder {
}
@end

@implementation CIContext
+ (CIContext*)context {
  return [[self alloc] init];
}
- (CGImageRef)createCGImage:(CIImage*)image fromRect:(CGRect)rect {
  return [image createBitmap];
}
@end
