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
typedef NS_ENUM(int32_t, CGImageSourceStatus) {
  kCGImageStatusUnexpectedEOF = -5,
  kCGImageStatusInvalidData = -4,
  kCGImageStatusUnknownType = -3,
  kCGImageStatusReadingHeader = -2,
  kCGImageStatusIncomplete = -1,
  kCGImageStatusComplete = 0,
};

PLATFORM_EXTERN const CFStringRef kCGImageSourceShouldCache;
PLATFORM_EXTERN const CFStringRef kCGImageSourceShouldCacheImmediately;
PLATFORM_EXTERN const CFStringRef kCGImageSourceCreateThumbnailFromImageAlways;
PLATFORM_EXTERN const CFStringRef kCGImageSourceCreateThumbnailWithTransform;
PLATFORM_EXTERN const CFStringRef kCGImageSourceThumbnailMaxPixelSize;
PLATFORM_EXTERN const CFStringRef kCGImageDestinationLossyCompressionQuality;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyExifDictionary;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyTIFFDictionary;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSDictionary;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyOrientation;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyPixelWidth;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyPixelHeight;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSLatitudeRef;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSLatitude;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSLongitudeRef;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSLongitude;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSAltitudeRef;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSAltitude;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSTimeStamp;
PLATFORM_EXTERN const CFStringRef kCGImagePropertyGPSDateStamp;

PLATFORM_EXTERN CGImageSourceRef _Nullable CGImageSourceCreateWithData(
    CFDataRef data, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageSourceRef _Nullable CGImageSourceCreateWithURL(
    CFURLRef url, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CFStringRef _Nullable CGImageSourceGetType(CGImageSourceRef source);
PLATFORM_EXTERN size_t CGImageSourceGetCount(CGImageSourceRef source);
PLATFORM_EXTERN CGImageSourceStatus CGImageSourceGetStatus(CGImageSourceRef source);
PLATFORM_EXTERN CFDictionaryRef _Nullable CGImageSourceCopyProperties(
    CGImageSourceRef source, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CFDictionaryRef _Nullable CGImageSourceCopyPropertiesAtIndex(
    CGImageSourceRef source, size_t index, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageRef _Nullable CGImageSourceCreateImageAtIndex(
    CGImageSourceRef source, size_t index, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageRef _Nullable CGImageSourceCreateThumbnailAtIndex(
    CGImageSourceRef source, size_t index, CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;

PLATFORM_EXTERN CFArrayRef CGImageDestinationCopyTypeIdentifiers(void) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageDestinationRef _Nullable CGImageDestinationCreateWithData(
    CFMutableDataRef data, CFStringRef type, size_t count,
    CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageDestinationRef _Nullable CGImageDestinationCreateWithURL(
    CFURLRef url, CFStringRef type, size_t count,
    CFDictionaryRef _Nullable options) CF_RETURNS_RETAINED;
PLATFORM_EXTERN void CGImageDestinationSetProperties(CGImageDestinationRef destination,
                                                     CFDictionaryRef _Nullable properties);
PLATFORM_EXTERN void CGImageDestinationAddImage(CGImageDestinationRef destination, CGImageRef image,
                                                CFDictionaryRef _Nullable properties);
PLATFORM_EXTERN void CGImageDestinationAddImageFromSource(CGImageDestinationRef destination,
                                                          CGImageSourceRef source, size_t index,
                                                          CFDictionaryRef _Nullable properties);
PLATFORM_EXTERN bool CGImageDestinationFinalize(CGImageDestinationRef destination);

NS_ASSUME_NONNULL_END
