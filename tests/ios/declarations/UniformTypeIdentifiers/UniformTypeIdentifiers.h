// Uniform type identifiers.
#pragma once

#import "../Foundation/Foundation.h"

NS_ASSUME_NONNULL_BEGIN

@interface UTType : NSObject <NSCopying, NSSecureCoding>
+ (nullable instancetype)typeWithIdentifier:(NSString*)identifier;
+ (nullable instancetype)typeWithFilenameExtension:(NSString*)filenameExtension;
@property(readonly) NSString* identifier;
@property(readonly, nullable) NSString* preferredFilenameExtension;
@property(readonly, nullable) NSString* preferredMIMEType;
- (BOOL)conformsToType:(UTType*)type;
@end

PLATFORM_EXTERN UTType* const UTTypeImage;
PLATFORM_EXTERN UTType* const UTTypeVideo;
PLATFORM_EXTERN UTType* const UTTypeMovie;
PLATFORM_EXTERN UTType* const UTTypeMPEG4Movie;
PLATFORM_EXTERN UTType* const UTTypeQuickTimeMovie;
PLATFORM_EXTERN UTType* const UTTypeJPEG;
PLATFORM_EXTERN UTType* const UTTypePNG;
PLATFORM_EXTERN UTType* const UTTypeHEIC;

NS_ASSUME_NONNULL_END
