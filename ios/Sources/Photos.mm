#import "ios/Sources/Photos.h"

#include <mutex>
#include <utility>

#include "ios/Sources/SingleHandler.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {
namespace {

class Asset final : public vecamera::PHAsset, public NativeReference {
 public:
  explicit Asset(::PHAsset* native) : native_(native) {}
  id native() const override { return native_; }
  std::string localIdentifier() const override {
    @autoreleasepool {
      return toText(native_.localIdentifier);
    }
  }

 private:
  ::PHAsset* const native_;
};

/// What one change keeps from its block to its end.
class ChangeRecord {
 public:
  /// What went wrong first; the framework does not see it.
  void fail(vecamera::NSError error) {
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = std::move(error);
  }
  std::optional<vecamera::NSError> failure() const {
    const std::lock_guard lock(mutex_);
    return failure_;
  }
  /// A file is read when the change is committed, which is after the block.
  void keep(const vecamera::URL& file) {
    const std::lock_guard lock(mutex_);
    files_.push_back(file);
  }

 private:
  mutable std::mutex mutex_;
  std::optional<vecamera::NSError> failure_;
  std::vector<vecamera::URL> files_;
};

class CreationRequest final : public vecamera::PHAssetCreationRequest {
 public:
  CreationRequest(::PHAssetCreationRequest* native, ChangeRecord& record)
      : native_(native), record_(record) {}

  void addResource(vecamera::PHAssetResourceType type, const vecamera::Data& data,
                   const vecamera::PHAssetResourceCreationOptions&) override {
    @autoreleasepool {
      @try {
        [native_ addResourceWithType:nativeType(type) data:toNSData(data) options:nil];
      } @catch (NSException* raised) {
        record_.fail(errorOf(raised));
      }
    }
  }
  void addResource(vecamera::PHAssetResourceType type, const vecamera::URL& fileURL,
                   const vecamera::PHAssetResourceCreationOptions&) override {
    @autoreleasepool {
      NSURL* url = toNSURL(fileURL);
      if (!url) {
        record_.fail({toText(NSURLErrorDomain), NSURLErrorUnsupportedURL, {}});
        return;
      }
      record_.keep(fileURL);
      @try {
        [native_ addResourceWithType:nativeType(type) fileURL:url options:nil];
      } @catch (NSException* raised) {
        record_.fail(errorOf(raised));
      }
    }
  }
  std::optional<std::string> placeholderLocalIdentifier() const override {
    @autoreleasepool {
      PHObjectPlaceholder* placeholder = native_.placeholderForCreatedAsset;
      if (!placeholder) return std::nullopt;
      return toText(placeholder.localIdentifier);
    }
  }

 private:
  static ::PHAssetResourceType nativeType(vecamera::PHAssetResourceType type) {
    return static_cast<::PHAssetResourceType>(type);
  }

  ::PHAssetCreationRequest* const native_;
  ChangeRecord& record_;
};

class Changes final : public vecamera::PHAssetChanges {
 public:
  explicit Changes(ChangeRecord& record) : record_(record) {}
  vecamera::PHAssetCreationRequest& creationRequestForAsset() override {
    @autoreleasepool {
      ::PHAssetCreationRequest* native = nil;
      @try {
        native = [::PHAssetCreationRequest creationRequestForAsset];
      } @catch (NSException* raised) {
        record_.fail(errorOf(raised));
      }
      requests_.push_back(std::make_unique<CreationRequest>(native, record_));
    }
    return *requests_.back();
  }

 private:
  ChangeRecord& record_;
  std::vector<std::unique_ptr<CreationRequest>> requests_;
};

}  // namespace

std::shared_ptr<vecamera::PHAsset> assetOf(::PHAsset* asset) {
  return asset ? std::make_shared<Asset>(asset) : nullptr;
}

vecamera::PHAuthorizationStatus PhotoLibrary::authorizationStatus() {
  return static_cast<vecamera::PHAuthorizationStatus>([::PHPhotoLibrary authorizationStatus]);
}

void PhotoLibrary::requestAuthorization(
    std::function<void(vecamera::PHAuthorizationStatus)> handler) {
  const SingleHandler<vecamera::PHAuthorizationStatus> decided(std::move(handler));
  @autoreleasepool {
    [::PHPhotoLibrary requestAuthorization:^(::PHAuthorizationStatus status) {
      decided(static_cast<vecamera::PHAuthorizationStatus>(status));
    }];
  }
  decided.callReturned();
}

void PhotoLibrary::performChanges(ChangeBlock changes, CompletionHandler completion) {
  const SingleHandler<bool, std::optional<vecamera::NSError>> done(std::move(completion));
  const auto record = std::make_shared<ChangeRecord>();
  @autoreleasepool {
    @try {
      [[::PHPhotoLibrary sharedPhotoLibrary]
          performChanges:^{
            @autoreleasepool {
              Changes request(*record);
              changes(request);
            }
          }
          completionHandler:^(BOOL success, NSError* error) {
            // What failed in the block has left its request without a resource, which the library
            // refuses or passes over; its own error says less.
            if (auto failure = record->failure())
              done(false, std::move(failure));
            else
              done(success, toError(error));
          }];
    } @catch (NSException* raised) {
      done(false, errorOf(raised));
    }
  }
  done.callReturned();
}

std::vector<std::shared_ptr<vecamera::PHAsset>> PhotoLibrary::fetchAssetsWithALAssetURLs(
    const std::vector<vecamera::URL>& urls, const vecamera::PHFetchOptions&) {
  std::vector<std::shared_ptr<vecamera::PHAsset>> assets;
  @autoreleasepool {
    NSMutableArray<NSURL*>* addresses = [NSMutableArray array];
    for (const vecamera::URL& url : urls)
      if (NSURL* address = toNSURL(url)) [addresses addObject:address];
// The picker's reference URLs are of this kind, and nothing else finds an asset by one.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    PHFetchResult<::PHAsset*>* found = [::PHAsset fetchAssetsWithALAssetURLs:addresses options:nil];
#pragma clang diagnostic pop
    for (NSUInteger i = 0; i < found.count; ++i) assets.push_back(assetOf([found objectAtIndex:i]));
  }
  return assets;
}

void ImageManager::requestImageDataAndOrientationForAsset(
    const std::shared_ptr<vecamera::PHAsset>& asset,
    const std::optional<vecamera::PHImageRequestOptions>& options, ResultHandler handler) {
  const SingleHandler<std::optional<vecamera::Data>, std::optional<std::string>,
                      vecamera::CGImagePropertyOrientation, std::optional<vecamera::Dictionary>>
      done(std::move(handler));
  @autoreleasepool {
    const auto* known = dynamic_cast<const Asset*>(asset.get());
    if (known) {
      [[::PHImageManager defaultManager]
          requestImageDataAndOrientationForAsset:known->native()
                                         options:options ? [[::PHImageRequestOptions alloc] init]
                                                         : nil
                                   resultHandler:^(NSData* data, NSString* dataUTI,
                                                   ::CGImagePropertyOrientation orientation,
                                                   NSDictionary* info) {
                                     done(data ? std::optional(toData(data)) : std::nullopt,
                                          dataUTI ? std::optional(toText(dataUTI)) : std::nullopt,
                                          orientation,
                                          info ? std::optional(toDictionary(info)) : std::nullopt);
                                   }];
    } else {
      done(std::nullopt, std::nullopt, kCGImagePropertyOrientationUp, std::nullopt);
    }
  }
  done.callReturned();
}

}  // namespace vecamera_ios
