// The photo library. What a change asks for is possible inside its block alone, as on the phone.
#import <Photos/Photos.h>

#include <exception>
#include <memory>
#include <utility>
#include <vector>

#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

using vecamera::ios::dataForDevice;
using vecamera::ios::softwarePlatform;

NSString* const PHImageResultIsInCloudKey = @"PHImageResultIsInCloudKey";
NSString* const PHImageResultIsDegradedKey = @"PHImageResultIsDegradedKey";
NSString* const PHImageErrorKey = @"PHImageErrorKey";
NSString* const PHPhotosErrorDomain = @"PHPhotosErrorDomain";

namespace {

/// A change as long as its block runs; null afterwards.
using Change = std::shared_ptr<vecamera::PHAssetChanges*>;
thread_local Change currentChange;

[[noreturn]] void raise(NSExceptionName name, NSString* reason) {
  @throw [NSException exceptionWithName:name reason:reason userInfo:nil];
}

void requireChange(const Change& change) {
  if (!change || !*change)
    raise(NSInternalInconsistencyException, @"This is possible inside a change block alone.");
}

}  // namespace

@implementation PHObject {
  NSString* identifier_;
}
- (instancetype)initWithIdentifier:(NSString*)identifier {
  if ((self = [super init])) identifier_ = [identifier copy];
  return self;
}
- (NSString*)localIdentifier {
  return identifier_;
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation PHObjectPlaceholder
@end

@interface PHFetchResult ()
- (instancetype)initWithObjects:(NSArray*)objects;
@end

@implementation PHFetchResult {
  NSArray* objects_;
}
- (instancetype)initWithObjects:(NSArray*)objects {
  if ((self = [super init])) objects_ = [objects copy];
  return self;
}
- (NSUInteger)count {
  return objects_.count;
}
- (id)firstObject {
  return objects_.firstObject;
}
- (id)objectAtIndex:(NSUInteger)index {
  return [objects_ objectAtIndex:index];
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@interface PHAsset () <SoftwareObject>
- (instancetype)initWithDevice:(std::shared_ptr<vecamera::PHAsset>)device;
@property(nonatomic, readonly) std::shared_ptr<vecamera::PHAsset> device;
@end

@implementation PHAsset {
  std::shared_ptr<vecamera::PHAsset> device_;
}
- (instancetype)initWithDevice:(std::shared_ptr<vecamera::PHAsset>)device {
  self = [super initWithIdentifier:vecamera::ios::textFromDevice(device->localIdentifier())];
  if (self) device_ = std::move(device);
  return self;
}
- (std::shared_ptr<vecamera::PHAsset>)device {
  return device_;
}
- (std::shared_ptr<vecamera::Object>)softwareObject {
  return device_;
}

+ (PHFetchResult<PHAsset*>*)fetchAssetsWithALAssetURLs:(NSArray<NSURL*>*)urls
                                               options:(PHFetchOptions*)options {
  std::vector<vecamera::URL> addresses;
  for (NSURL* url in urls) addresses.push_back(vecamera::ios::urlForDevice(url));
  NSMutableArray* found = [NSMutableArray array];
  for (auto& asset : softwarePlatform().photoLibrary.fetchAssetsWithALAssetURLs(addresses, {}))
    [found addObject:[[PHAsset alloc] initWithDevice:std::move(asset)]];
  return [[PHFetchResult alloc] initWithObjects:found];
}
@end

@implementation PHFetchOptions
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation PHAssetResourceCreationOptions
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation PHChangeRequest
@end

@interface PHAssetChangeRequest () {
 @protected
  Change change_;
  vecamera::PHAssetCreationRequest* device_;  // owned by the change
}
@end

@implementation PHAssetChangeRequest
- (PHObjectPlaceholder*)placeholderForCreatedAsset {
  requireChange(change_);
  const auto identifier = device_->placeholderLocalIdentifier();
  if (!identifier) return nil;
  return
      [[PHObjectPlaceholder alloc] initWithIdentifier:vecamera::ios::textFromDevice(*identifier)];
}
@end

@implementation PHAssetCreationRequest
+ (instancetype)creationRequestForAsset {
  requireChange(currentChange);
  PHAssetCreationRequest* request = [[self alloc] init];
  request->change_ = currentChange;
  request->device_ = &(*currentChange)->creationRequestForAsset();
  return request;
}
- (void)addResourceWithType:(PHAssetResourceType)type
                       data:(NSData*)data
                    options:(PHAssetResourceCreationOptions*)options {
  requireChange(change_);
  if (!data) raise(NSInvalidArgumentException, @"A resource needs data.");
  device_->addResource(static_cast<vecamera::PHAssetResourceType>(type), dataForDevice(data), {});
}
- (void)addResourceWithType:(PHAssetResourceType)type
                    fileURL:(NSURL*)fileURL
                    options:(PHAssetResourceCreationOptions*)options {
  requireChange(change_);
  if (!fileURL.isFileURL) raise(NSInvalidArgumentException, @"A resource needs a file's URL.");
  device_->addResource(static_cast<vecamera::PHAssetResourceType>(type),
                       vecamera::ios::urlForDevice(fileURL), {});
}
@end

@implementation PHPhotoLibrary
+ (PHPhotoLibrary*)sharedPhotoLibrary {
  static PHPhotoLibrary* const shared = [[PHPhotoLibrary alloc] init];
  return shared;
}

// The operations without an access level do not know limited access.
static PHAuthorizationStatus withoutAccessLevel(vecamera::PHAuthorizationStatus status) {
  return status == vecamera::PHAuthorizationStatus::limited
             ? PHAuthorizationStatusAuthorized
             : static_cast<PHAuthorizationStatus>(status);
}
+ (PHAuthorizationStatus)authorizationStatus {
  return withoutAccessLevel(softwarePlatform().photoLibrary.authorizationStatus());
}
+ (void)requestAuthorization:(void (^)(PHAuthorizationStatus))handler {
  softwarePlatform().photoLibrary.requestAuthorization(
      [handler](vecamera::PHAuthorizationStatus status) {
        @autoreleasepool {
          handler(withoutAccessLevel(status));
        }
      });
}
+ (PHAuthorizationStatus)authorizationStatusForAccessLevel:(PHAccessLevel)accessLevel {
  return static_cast<PHAuthorizationStatus>(softwarePlatform().photoLibrary.authorizationStatus());
}
+ (void)requestAuthorizationForAccessLevel:(PHAccessLevel)accessLevel
                                   handler:(void (^)(PHAuthorizationStatus))handler {
  softwarePlatform().photoLibrary.requestAuthorization(
      [handler](vecamera::PHAuthorizationStatus status) {
        @autoreleasepool {
          handler(static_cast<PHAuthorizationStatus>(status));
        }
      });
}

- (void)performChanges:(dispatch_block_t)changeBlock
     completionHandler:(void (^)(BOOL, NSError*))completionHandler {
  softwarePlatform().photoLibrary.performChanges(
      [changeBlock](vecamera::PHAssetChanges& changes) {
        // Where a held change unwinds at the end of the device, the pool and the change end as
        // well.
        std::exception_ptr unwinding;
        @autoreleasepool {
          const auto change = std::make_shared<vecamera::PHAssetChanges*>(&changes);
          currentChange = change;
          try {
            changeBlock();
          } catch (...) {
            unwinding = std::current_exception();
          }
          currentChange = nullptr;
          *change = nullptr;
        }
        if (unwinding) std::rethrow_exception(unwinding);
      },
      [completionHandler](bool success, std::optional<vecamera::NSError> error) {
        @autoreleasepool {
          if (completionHandler)
            completionHandler(success, error ? vecamera::ios::errorFromDevice(*error) : nil);
        }
      });
}
@end

@implementation PHImageRequestOptions
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation PHImageManager
+ (PHImageManager*)defaultManager {
  static PHImageManager* const shared = [[PHImageManager alloc] init];
  return shared;
}
- (PHImageRequestID)requestImageDataAndOrientationForAsset:(PHAsset*)asset
                                                   options:(PHImageRequestOptions*)options
                                             resultHandler:(void (^)(NSData*, NSString*,
                                                                     CGImagePropertyOrientation,
                                                                     NSDictionary*))resultHandler {
  softwarePlatform().imageManager.requestImageDataAndOrientationForAsset(
      asset.device, options ? std::optional(vecamera::PHImageRequestOptions{}) : std::nullopt,
      [resultHandler](std::optional<vecamera::Data> data, std::optional<std::string> dataUTI,
                      vecamera::CGImagePropertyOrientation orientation,
                      std::optional<vecamera::Dictionary> info) {
        @autoreleasepool {
          resultHandler(data ? vecamera::ios::dataFromDevice(*data) : nil,
                        dataUTI ? vecamera::ios::textFromDevice(*dataUTI) : nil,
                        static_cast<CGImagePropertyOrientation>(orientation),
                        info ? vecamera::ios::dictionaryFromDevice(*info) : nil);
        }
      });
  return 1;
}
@end

namespace vecamera::ios {

::PHAsset* assetFromDevice(std::shared_ptr<PHAsset> asset) {
  return asset ? [[::PHAsset alloc] initWithDevice:std::move(asset)] : nil;
}

}  // namespace vecamera::ios
