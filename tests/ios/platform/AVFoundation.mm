// The camera's permission and the exports of movies.
#import <AVFoundation/AVFoundation.h>

#include <memory>
#include <utility>

#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

using vecamera::ios::softwarePlatform;
using vecamera::ios::textForDevice;

AVMediaType const AVMediaTypeVideo = @"vide";
AVMediaType const AVMediaTypeAudio = @"soun";
AVFileType const AVFileTypeMPEG4 = @"public.mpeg-4";
AVFileType const AVFileTypeQuickTimeMovie = @"com.apple.quicktime-movie";
NSString* const AVAssetExportPresetHighestQuality = @"AVAssetExportPresetHighestQuality";
NSString* const AVAssetExportPresetPassthrough = @"AVAssetExportPresetPassthrough";
NSString* const AVFoundationErrorDomain = @"AVFoundationErrorDomain";

static void refuse(NSString* reason) {
  @throw [NSException exceptionWithName:NSInvalidArgumentException reason:reason userInfo:nil];
}

static void requirePermissionType(AVMediaType type) {
  if (![type isEqualToString:AVMediaTypeVideo] && ![type isEqualToString:AVMediaTypeAudio])
    refuse(@"This media type needs no permission.");
}

@implementation AVCaptureDevice
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)mediaType {
  requirePermissionType(mediaType);
  return static_cast<AVAuthorizationStatus>(
      softwarePlatform().captureDevice.authorizationStatusForMediaType(textForDevice(mediaType)));
}
+ (void)requestAccessForMediaType:(AVMediaType)mediaType completionHandler:(void (^)(BOOL))handler {
  requirePermissionType(mediaType);
  softwarePlatform().captureDevice.requestAccessForMediaType(textForDevice(mediaType),
                                                             [handler](bool granted) {
                                                               @autoreleasepool {
                                                                 handler(granted);
                                                               }
                                                             });
}
@end

@implementation AVAsset
+ (instancetype)assetWithURL:(NSURL*)url {
  return [[AVURLAsset alloc] initWithURL:url options:nil];
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@interface AVURLAsset ()
@property(nonatomic, readonly) std::shared_ptr<vecamera::AVAsset> device;
@end

@implementation AVURLAsset {
  NSURL* url_;
  std::shared_ptr<vecamera::AVAsset> device_;
}
+ (instancetype)URLAssetWithURL:(NSURL*)url options:(NSDictionary<NSString*, id>*)options {
  return [[self alloc] initWithURL:url options:options];
}
- (instancetype)init {
  return [self initWithURL:(NSURL* _Nonnull)nil options:nil];
}
- (instancetype)initWithURL:(NSURL*)url options:(NSDictionary<NSString*, id>*)options {
  if (!url) refuse(@"An asset needs a URL.");
  if ((self = [super init])) {
    url_ = [url copy];
    device_ = softwarePlatform().assetExports.assetWithURL(vecamera::ios::urlForDevice(url));
  }
  return self;
}
- (NSURL*)URL {
  return url_;
}
- (std::shared_ptr<vecamera::AVAsset>)device {
  return device_;
}
@end

@implementation AVAssetExportSession {
  std::shared_ptr<vecamera::AVAssetExportSession> device_;
  AVAsset* asset_;
  NSString* presetName_;
  AVFileType outputFileType_;
  NSURL* outputURL_;
  BOOL isStarted_;
}
@synthesize asset = asset_;
@synthesize presetName = presetName_;
@synthesize outputFileType = outputFileType_;
@synthesize outputURL = outputURL_;

+ (instancetype)exportSessionWithAsset:(AVAsset*)asset presetName:(NSString*)presetName {
  return [[self alloc] initWithAsset:asset presetName:presetName];
}
- (instancetype)initWithAsset:(AVAsset*)asset presetName:(NSString*)presetName {
  if (!asset || !presetName) refuse(@"A session needs an asset and a preset.");
  if (!(self = [super init])) return nil;
  asset_ = asset;
  presetName_ = [presetName copy];
  device_ = softwarePlatform().assetExports.exportSessionWithAsset(((AVURLAsset*)asset).device,
                                                                   textForDevice(presetName));
  return device_ ? self : nil;
}
- (NSArray<AVFileType>*)supportedFileTypes {
  return @[ AVFileTypeMPEG4, AVFileTypeQuickTimeMovie ];
}
- (void)setOutputFileType:(AVFileType)type {
  if (type && ![self.supportedFileTypes containsObject:type])
    refuse(@"The session does not write this file type.");
  outputFileType_ = [type copy];
}
- (void)setOutputURL:(NSURL*)url {
  if (isStarted_) refuse(@"The export has been started.");
  outputURL_ = [url copy];
}
- (AVAssetExportSessionStatus)status {
  return static_cast<AVAssetExportSessionStatus>(device_->status());
}
- (NSError*)error {
  const auto error = device_->error();
  return error ? vecamera::ios::errorFromDevice(*error) : nil;
}
- (float)progress {
  return device_->progress();
}
- (void)exportAsynchronouslyWithCompletionHandler:(void (^)(void))handler {
  if (isStarted_) refuse(@"The export has been started.");
  if (!outputFileType_ || !outputURL_.isFileURL) refuse(@"The export has no file to write.");
  isStarted_ = YES;
  device_->setOutputFileType(textForDevice(outputFileType_));
  device_->setOutputURL(vecamera::ios::urlForDevice(outputURL_));
  // The session goes on to its end, whoever holds it, and keeps its block.
  const auto running = std::make_shared<AVAssetExportSession*>(self);
  device_->exportAsynchronouslyWithCompletionHandler([handler, running] {
    @autoreleasepool {
      const AVAssetExportSession* session = std::exchange(*running, nil);
      handler();
      (void)session;
    }
  });
}
- (void)cancelExport {
  device_->cancelExport();
}
@end
