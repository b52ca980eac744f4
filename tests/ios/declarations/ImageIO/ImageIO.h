// Image I/O: pictures' files, read and written with their properties.
#pragma once

#import "../CoreGraphics/CoreGraphics.h"

NS_ASSUME_NONNULL_BEGIN

typedef struct CGImageSource* CGImageSourceRef;
typedef struct CGImageDestination* CGImageDestinationRef;

typedef NS_ENUM(uint32_t, CGImagePropertyOrientation) {
  kCGImagePropertyOrientationUp = 1,
  kCGImagePropertyOrientationUpMirrored,
  kCGImagePropertyOrientationDown,
  kCGImagePropertyOrientationDownMirrored,
  kCGImagePropertyOrientationLeftMirrored,
  kCGImagePropertyOrientationRight,
  kCGImagePropertyOrientationRightMirrored,
  kCGImagePropertyOrientationLeft,
};

PLATFORM_EXTERN CGImageSourceRef _Nullable CGImageSourceCreateWithData(
    CFDataRef data, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CFStringRef _Nullable CGImageSourceGetType(CGImageSourceRef source);

PLATFORM_EXTERN CGImageDestinationRef _Nullable CGImageDestinationCreateWithData(
    CFMutableDataRef data, CFStringRef type, size_t count,
    CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN void CGImageDestinationAddImage(CGImageDestinationRef destination, CGImageRef image,
                                                CFDictionaryRef _Nullable properties);
PLATFORM_EXTERN bool CGImageDestinationFinalize(CGImageDestinationRef destination);

NS_ASSUME_NONNULL_END
