// Core Graphics: geometry, pictures and bitmap contexts.
#pragma once

#import "../CoreFoundation/CoreFoundation.h"

NS_ASSUME_NONNULL_BEGIN

typedef struct CGPoint {
  CGFloat x;
  CGFloat y;
} CGPoint;
typedef struct CGSize {
  CGFloat width;
  CGFloat height;
} CGSize;
typedef struct CGRect {
  CGPoint origin;
  CGSize size;
} CGRect;
typedef struct CGAffineTransform {
  CGFloat a, b, c, d, tx, ty;
} CGAffineTransform;

PLATFORM_EXTERN const CGPoint CGPointZero;
PLATFORM_EXTERN const CGSize CGSizeZero;
PLATFORM_EXTERN const CGRect CGRectZero;
PLATFORM_EXTERN const CGAffineTransform CGAffineTransformIdentity;

static inline CGPoint CGPointMake(CGFloat x, CGFloat y) {
  CGPoint point = {x, y};
  return point;
}
static inline CGSize CGSizeMake(CGFloat width, CGFloat height) {
  CGSize size = {width, height};
  return size;
}
static inline CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
  CGRect rect = {{x, y}, {width, height}};
  return rect;
}

typedef struct CGImage* CGImageRef;
typedef struct CGColor* CGColorRef;
typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGContext* CGContextRef;
typedef struct CGDataProvider* CGDataProviderRef;

typedef NS_ENUM(uint32_t, CGImageAlphaInfo) {
  kCGImageAlphaNone,
  kCGImageAlphaPremultipliedLast,
  kCGImageAlphaPremultipliedFirst,
  kCGImageAlphaLast,
  kCGImageAlphaFirst,
  kCGImageAlphaNoneSkipLast,
  kCGImageAlphaNoneSkipFirst,
  kCGImageAlphaOnly,
};
typedef NS_OPTIONS(uint32_t, CGBitmapInfo) {
  kCGBitmapAlphaInfoMask = 0x1F,
  kCGBitmapFloatComponents = 1 << 8,
  kCGBitmapByteOrderMask = 0x7000,
  kCGBitmapByteOrderDefault = 0,
  kCGBitmapByteOrder32Little = 2 << 12,
  kCGBitmapByteOrder32Big = 4 << 12,
};
typedef NS_ENUM(int32_t, CGInterpolationQuality) {
  kCGInterpolationDefault = 0,
  kCGInterpolationNone = 1,
  kCGInterpolationLow = 2,
  kCGInterpolationMedium = 4,
  kCGInterpolationHigh = 3,
};
typedef NS_ENUM(int32_t, CGBlendMode) {
  kCGBlendModeNormal = 0,
  kCGBlendModeCopy = 17,
};
typedef NS_ENUM(int32_t, CGColorRenderingIntent) {
  kCGRenderingIntentDefault,
  kCGRenderingIntentAbsoluteColorimetric,
  kCGRenderingIntentRelativeColorimetric,
  kCGRenderingIntentPerceptual,
  kCGRenderingIntentSaturation,
};
typedef NS_ENUM(int32_t, CGColorSpaceModel) {
  kCGColorSpaceModelUnknown = -1,
  kCGColorSpaceModelMonochrome,
  kCGColorSpaceModelRGB,
  kCGColorSpaceModelCMYK,
};

PLATFORM_EXTERN const CFStringRef kCGColorSpaceSRGB;
PLATFORM_EXTERN const CFStringRef kCGColorSpaceDisplayP3;
PLATFORM_EXTERN CGColorSpaceRef _Nullable CGColorSpaceCreateDeviceRGB(void) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGColorSpaceRef _Nullable CGColorSpaceCreateWithName(CFStringRef _Nullable name)
    CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGColorSpaceModel CGColorSpaceGetModel(CGColorSpaceRef _Nullable space);
PLATFORM_EXTERN CGColorSpaceRef _Nullable CGColorSpaceRetain(CGColorSpaceRef _Nullable space);
PLATFORM_EXTERN void CGColorSpaceRelease(CGColorSpaceRef _Nullable space);

typedef void (*CGDataProviderReleaseDataCallback)(void* _Nullable info, const void* data,
                                                  size_t size);
PLATFORM_EXTERN CGDataProviderRef _Nullable CGDataProviderCreateWithData(
    void* _Nullable info, const void* _Nullable data, size_t size,
    CGDataProviderReleaseDataCallback _Nullable releaseData) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGDataProviderRef _Nullable CGDataProviderCreateWithCFData(CFDataRef _Nullable data)
    CF_RETURNS_RETAINED;
PLATFORM_EXTERN CFDataRef _Nullable CGDataProviderCopyData(CGDataProviderRef _Nullable provider)
    CF_RETURNS_RETAINED;
PLATFORM_EXTERN void CGDataProviderRelease(CGDataProviderRef _Nullable provider);

PLATFORM_EXTERN CGImageRef _Nullable CGImageCreate(
    size_t width, size_t height, size_t bitsPerComponent, size_t bitsPerPixel, size_t bytesPerRow,
    CGColorSpaceRef _Nullable space, CGBitmapInfo bitmapInfo, CGDataProviderRef _Nullable provider,
    const CGFloat* _Nullable decode, bool shouldInterpolate,
    CGColorRenderingIntent intent) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageRef _Nullable CGImageCreateWithImageInRect(CGImageRef _Nullable image,
                                                                  CGRect rect) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageRef _Nullable CGImageRetain(CGImageRef _Nullable image);
PLATFORM_EXTERN void CGImageRelease(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetWidth(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetHeight(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetBitsPerComponent(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetBitsPerPixel(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetBytesPerRow(CGImageRef _Nullable image);
PLATFORM_EXTERN CGColorSpaceRef _Nullable CGImageGetColorSpace(CGImageRef _Nullable image);
PLATFORM_EXTERN CGImageAlphaInfo CGImageGetAlphaInfo(CGImageRef _Nullable image);
PLATFORM_EXTERN CGBitmapInfo CGImageGetBitmapInfo(CGImageRef _Nullable image);
PLATFORM_EXTERN CGDataProviderRef _Nullable CGImageGetDataProvider(CGImageRef _Nullable image);

PLATFORM_EXTERN CGContextRef _Nullable CGBitmapContextCreate(
    void* _Nullable data, size_t width, size_t height, size_t bitsPerComponent, size_t bytesPerRow,
    CGColorSpaceRef _Nullable space, uint32_t bitmapInfo) CF_RETURNS_RETAINED;
PLATFORM_EXTERN CGImageRef _Nullable CGBitmapContextCreateImage(CGContextRef _Nullable context)
    CF_RETURNS_RETAINED;
PLATFORM_EXTERN void* _Nullable CGBitmapContextGetData(CGContextRef _Nullable context);
PLATFORM_EXTERN size_t CGBitmapContextGetWidth(CGContextRef _Nullable context);
PLATFORM_EXTERN size_t CGBitmapContextGetHeight(CGContextRef _Nullable context);
PLATFORM_EXTERN size_t CGBitmapContextGetBytesPerRow(CGContextRef _Nullable context);
PLATFORM_EXTERN CGContextRef _Nullable CGContextRetain(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextRelease(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextSaveGState(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextRestoreGState(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextTranslateCTM(CGContextRef _Nullable context, CGFloat x, CGFloat y);
PLATFORM_EXTERN void CGContextRotateCTM(CGContextRef _Nullable context, CGFloat radians);
PLATFORM_EXTERN void CGContextScaleCTM(CGContextRef _Nullable context, CGFloat x, CGFloat y);
PLATFORM_EXTERN void CGContextConcatCTM(CGContextRef _Nullable context, CGAffineTransform by);
PLATFORM_EXTERN CGAffineTransform CGContextGetCTM(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextSetInterpolationQuality(CGContextRef _Nullable context,
                                                      CGInterpolationQuality quality);
PLATFORM_EXTERN void CGContextSetBlendMode(CGContextRef _Nullable context, CGBlendMode mode);
PLATFORM_EXTERN void CGContextClearRect(CGContextRef _Nullable context, CGRect rect);
PLATFORM_EXTERN void CGContextDrawImage(CGContextRef _Nullable context, CGRect rect,
                                        CGImageRef _Nullable image);

NS_ASSUME_NONNULL_END
