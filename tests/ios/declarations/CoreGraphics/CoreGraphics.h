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
typedef struct CGContext* CGContextRef;

typedef void (*CGDataProviderReleaseDataCallback)(void* _Nullable info, const void* data,
                                                  size_t size);

PLATFORM_EXTERN CGImageRef _Nullable CGImageRetain(CGImageRef _Nullable image);
PLATFORM_EXTERN void CGImageRelease(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetWidth(CGImageRef _Nullable image);
PLATFORM_EXTERN size_t CGImageGetHeight(CGImageRef _Nullable image);

PLATFORM_EXTERN CGContextRef _Nullable CGContextRetain(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextRelease(CGContextRef _Nullable context);
PLATFORM_EXTERN void CGContextTranslateCTM(CGContextRef _Nullable context, CGFloat x, CGFloat y);
PLATFORM_EXTERN void CGContextRotateCTM(CGContextRef _Nullable context, CGFloat radians);
PLATFORM_EXTERN void CGContextScaleCTM(CGContextRef _Nullable context, CGFloat x, CGFloat y);
PLATFORM_EXTERN void CGContextDrawImage(CGContextRef _Nullable context, CGRect rect,
                                        CGImageRef _Nullable image);

NS_ASSUME_NONNULL_END
