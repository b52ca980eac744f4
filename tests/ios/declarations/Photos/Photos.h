// Photos: the library, its assets, changes to it, and the data of a picture in it.
#pragma once

#import "../CoreGraphics/CoreGraphics.h"
#import "../Foundation/Foundation.h"
#import "../ImageIO/ImageIO.h"

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, PHAuthorizationStatus) {
  PHAuthorizationStatusNotDetermined = 0,
  PHAuthorizationStatusRestricted,
  PHAuthorizationStatusDenied,
  PHAuthorizationStatusAuthorized,
  PHAuthorizationStatusLimited,
};
typedef NS_ENUM(NSInteger, PHAccessLevel) {
  PHAccessLevelAddOnly = 1,
  PHAccessLevelReadWrite = 2,
};
typedef NS_ENUM(NSInteger, PHAssetMediaType) {
  PHAssetMediaTypeUnknown = 0,
  PHAssetMediaTypeImage = 1,
  PHAssetMediaTypeVideo = 2,
  PHAssetMediaTypeAudio = 3,
};
typedef NS_ENUM(NSInteger, PHAssetResourceType) {
  PHAssetResourceTypePhoto = 1,
  PHAssetResourceTypeVideo = 2,
};
typedef NS_ENUM(NSInteger, PHImageRequestOptionsVersion) {
  PHImageRequestOptionsVersionCurrent = 0,
  PHImageRequestOptionsVersionUnadjusted,
  PHImageRequestOptionsVersionOriginal,
};
typedef int32_t PHImageRequestID;

PLATFORM_EXTERN NSString* const PHImageResultIsInCloudKey;
PLATFORM_EXTERN NSString* const PHImageResultIsDegradedKey;
PLATFORM_EXTERN NSString* const PHImageErrorKey;
PLATFORM_EXTERN NSString* const PHPhotosErrorDomain;

@class PHAsset;

@interface PHObject : NSObject <NSCopying>
@property(nonatomic, copy, readonly) NSString* localIdentifier;
@end

@interface PHObjectPlaceholder : PHObject
@end

@interface PHFetchOptions : NSObject <NSCopying>
@end

@interface PHFetchResult<__covariant ObjectType> : NSObject <NSCopying>
@property(readonly) NSUInteger count;
@property(nonatomic, nullable, readonly) ObjectType firstObject;
- (ObjectType)objectAtIndex:(NSUInteger)index;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)index;
@end

@interface PHAsset : PHObject
+ (PHFetchResult<PHAsset*>*)fetchAssetsWithLocalIdentifiers:(NSArray<NSString*>*)identifiers
                                                    options:(nullable PHFetchOptions*)options;
+ (PHFetchResult<PHAsset*>*)fetchAssetsWithALAssetURLs:(NSArray<NSURL*>*)urls
                                               options:(nullable PHFetchOptions*)options
    API_DEPRECATED("Use fetchAssetsWithLocalIdentifiers:options:", ios(8.0, 11.0));
@property(nonatomic, assign, readonly) PHAssetMediaType mediaType;
@end

@interface PHAssetResourceCreationOptions : NSObject <NSCopying>
@property(nonatomic, copy, nullable) NSString* originalFilename;
@property(nonatomic, copy, nullable) NSString* uniformTypeIdentifier;
@end

@interface PHChangeRequest : NSObject
@end

@interface PHAssetChangeRequest : PHChangeRequest
@property(nonatomic, strong, readonly, nullable) PHObjectPlaceholder* placeholderForCreatedAsset;
@end

@interface PHAssetCreationRequest : PHAssetChangeRequest
+ (instancetype)creationRequestForAsset;
- (void)addResourceWithType:(PHAssetResourceType)type
                       data:(NSData*)data
                    options:(nullable PHAssetResourceCreationOptions*)options;
- (void)addResourceWithType:(PHAssetResourceType)type
                    fileURL:(NSURL*)fileURL
                    options:(nullable PHAssetResourceCreationOptions*)options;
@end

@interface PHPhotoLibrary : NSObject
+ (PHPhotoLibrary*)sharedPhotoLibrary;
+ (PHAuthorizationStatus)authorizationStatus;
+ (void)requestAuthorization:(void (^)(PHAuthorizationStatus status))handler;
+ (PHAuthorizationStatus)authorizationStatusForAccessLevel:(PHAccessLevel)accessLevel;
+ (void)requestAuthorizationForAccessLevel:(PHAccessLevel)accessLevel
                                   handler:(void (^)(PHAuthorizationStatus status))handler;
- (void)performChanges:(dispatch_block_t)changeBlock
     completionHandler:(nullable void (^)(BOOL success, NSError* _Nullable error))completionHandler;
@end

@interface PHImageRequestOptions : NSObject <NSCopying>
@property(nonatomic, assign) PHImageRequestOptionsVersion version;
@end

@interface PHImageManager : NSObject
+ (PHImageManager*)defaultManager;
- (PHImageRequestID)
    requestImageDataAndOrientationForAsset:(PHAsset*)asset
                                   options:(nullable PHImageRequestOptions*)options
                             resultHandler:(void (^)(NSData* _Nullable imageData,
                                                     NSString* _Nullable dataUTI,
                                                     CGImagePropertyOrientation orientation,
                                                     NSDictionary* _Nullable info))resultHandler;
@end

NS_ASSUME_NONNULL_END
