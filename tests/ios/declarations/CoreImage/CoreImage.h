// Core Image: a picture that is not rendered, which is where its properties are read.
#pragma once

#import "../CoreGraphics/CoreGraphics.h"
#import "../Foundation/Foundation.h"
#import "../ImageIO/ImageIO.h"

NS_ASSUME_NONNULL_BEGIN

typedef NSString* CIImageOption;

@interface CIImage : NSObject <NSSecureCoding, NSCopying>
+ (nullable CIImage*)imageWithData:(NSData*)data;
+ (CIImage*)imageWithCGImage:(CGImageRef)image;
- (nullable instancetype)initWithData:(NSData*)data;
- (nullable instancetype)initWithData:(NSData*)data
                              options:(nullable NSDictionary<CIImageOption, id>*)options;
@property(nonatomic, readonly) CGRect extent;
@property(nonatomic, readonly) NSDictionary<NSString*, id>* properties;
@property(nonatomic, readonly, nullable) CGImageRef CGImage;
@end

@interface CIContext : NSObject
+ (CIContext*)context;
- (nullable CGImageRef)createCGImage:(CIImage*)image fromRect:(CGRect)rect CF_RETURNS_RETAINED;
@end

NS_ASSUME_NONNULL_END
