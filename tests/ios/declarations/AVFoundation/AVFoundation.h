// AV Foundation: permission to use the camera, and the export of a movie.
#pragma once

#import "../Foundation/Foundation.h"

NS_ASSUME_NONNULL_BEGIN

typedef NSString* AVMediaType;
typedef NSString* AVFileType;
PLATFORM_EXTERN AVMediaType const AVMediaTypeVideo;
PLATFORM_EXTERN AVMediaType const AVMediaTypeAudio;
PLATFORM_EXTERN AVFileType const AVFileTypeMPEG4;
PLATFORM_EXTERN AVFileType const AVFileTypeQuickTimeMovie;
PLATFORM_EXTERN NSString* const AVAssetExportPresetHighestQuality;
PLATFORM_EXTERN NSString* const AVAssetExportPresetPassthrough;
PLATFORM_EXTERN NSString* const AVFoundationErrorDomain;

typedef NS_ENUM(NSInteger, AVAuthorizationStatus) {
  AVAuthorizationStatusNotDetermined = 0,
  AVAuthorizationStatusRestricted = 1,
  AVAuthorizationStatusDenied = 2,
  AVAuthorizationStatusAuthorized = 3,
};
typedef NS_ENUM(NSInteger, AVAssetExportSessionStatus) {
  AVAssetExportSessionStatusUnknown = 0,
  AVAssetExportSessionStatusWaiting = 1,
  AVAssetExportSessionStatusExporting = 2,
  AVAssetExportSessionStatusCompleted = 3,
  AVAssetExportSessionStatusFailed = 4,
  AVAssetExportSessionStatusCancelled = 5,
};

@interface AVCaptureDevice : NSObject
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)mediaType;
+ (void)requestAccessForMediaType:(AVMediaType)mediaType
                completionHandler:(void (^)(BOOL granted))handler;
@end

@interface AVAsset : NSObject <NSCopying>
+ (instancetype)assetWithURL:(NSURL*)url;
@end

@interface AVURLAsset : AVAsset
+ (instancetype)URLAssetWithURL:(NSURL*)url options:(nullable NSDictionary<NSString*, id>*)options;
- (instancetype)initWithURL:(NSURL*)url
                    options:(nullable NSDictionary<NSString*, id>*)options
    NS_DESIGNATED_INITIALIZER;
@property(nonatomic, readonly, copy) NSURL* URL;
@end

@interface AVAssetExportSession : NSObject
+ (nullable instancetype)exportSessionWithAsset:(AVAsset*)asset presetName:(NSString*)presetName;
- (nullable instancetype)initWithAsset:(AVAsset*)asset
                            presetName:(NSString*)presetName NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;
@property(nonatomic, readonly) NSString* presetName;
@property(nonatomic, retain, readonly) AVAsset* asset;
@property(nonatomic, readonly) NSArray<AVFileType>* supportedFileTypes;
@property(nonatomic, copy, nullable) AVFileType outputFileType;
@property(nonatomic, copy, nullable) NSURL* outputURL;
@property(nonatomic, readonly) AVAssetExportSessionStatus status;
@property(nonatomic, readonly, nullable) NSError* error;
@property(nonatomic, readonly) float progress;
- (void)exportAsynchronouslyWithCompletionHandler:(void (^)(void))handler;
- (void)cancelExport;
@end

NS_ASSUME_NONNULL_END
