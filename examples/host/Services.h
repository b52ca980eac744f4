#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/platform/CoreLocation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/runtime/Executor.h"

// The services behind permissions: a camera that may be used, a photo library that may not, no
// location, and no movies. Their handlers run on the executor that they are given, each once and
// never inside the call. It ends before they do, because a handler may use any of them.

namespace host {

namespace vc = vecamera;

class CaptureDevice : public vc::AVCaptureDevice {
 public:
  explicit CaptureDevice(vc::Executor& handlers) : handlers_(handlers) {}
  vc::AVAuthorizationStatus authorizationStatusForMediaType(
      std::string_view /*mediaType*/) override {
    return vc::AVAuthorizationStatus::authorized;
  }
  void requestAccessForMediaType(std::string_view /*mediaType*/,
                                 std::function<void(bool)> handler) override {
    handlers_.post([handler = std::move(handler)] { handler(true); });
  }

 private:
  vc::Executor& handlers_;
};

class PhotoLibrary : public vc::PHPhotoLibrary {
 public:
  explicit PhotoLibrary(vc::Executor& handlers) : handlers_(handlers) {}
  vc::PHAuthorizationStatus authorizationStatus() override {
    return vc::PHAuthorizationStatus::denied;
  }
  void requestAuthorization(std::function<void(vc::PHAuthorizationStatus)> handler) override {
    handlers_.post([handler = std::move(handler)] { handler(vc::PHAuthorizationStatus::denied); });
  }
  /// The block does not run: there is nothing that it could change.
  void performChanges(ChangeBlock /*changes*/, CompletionHandler completion) override {
    handlers_.post([completion = std::move(completion)] {
      completion(false, vc::NSError{"HostErrorDomain",
                                    2,
                                    {{std::string(vc::NSLocalizedDescriptionKey),
                                      "This device has no photo library."}}});
    });
  }
  std::vector<std::shared_ptr<vc::PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<vc::URL>& /*urls*/, const vc::PHFetchOptions& /*options*/) override {
    return {};
  }

 private:
  vc::Executor& handlers_;
};

class ImageManager : public vc::PHImageManager {
 public:
  explicit ImageManager(vc::Executor& handlers) : handlers_(handlers) {}
  void requestImageDataAndOrientationForAsset(
      const std::shared_ptr<vc::PHAsset>& /*asset*/,
      const std::optional<vc::PHImageRequestOptions>& /*options*/, ResultHandler handler) override {
    handlers_.post([handler = std::move(handler)] { handler({}, {}, 1, {}); });
  }

 private:
  vc::Executor& handlers_;
};

/// Keeps what it is given, on any thread; its update never comes.
class LocationManager : public vc::CLLocationManager {
 public:
  void setDesiredAccuracy(double metres) override {
    const std::lock_guard lock(mutex_);
    accuracy_ = metres;
  }
  double desiredAccuracy() const override {
    const std::lock_guard lock(mutex_);
    return accuracy_;
  }
  void setDelegate(std::weak_ptr<vc::CLLocationManagerDelegate> delegate) override {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
  }
  std::shared_ptr<vc::CLLocationManagerDelegate> delegate() const override {
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
  }
  void requestWhenInUseAuthorizationAfterZeroDelay() override {}
  void startUpdatingLocation() override {}
  void stopUpdatingLocation() override {}
  std::optional<vc::CLLocation> location() const override { return std::nullopt; }

 private:
  mutable std::mutex mutex_;
  double accuracy_ = 0;
  std::weak_ptr<vc::CLLocationManagerDelegate> delegate_;
};

class CoreLocation : public vc::CoreLocation {
 public:
  std::shared_ptr<vc::CLLocationManager> makeLocationManager() override {
    return std::make_shared<LocationManager>();
  }
};

/// Nothing can be exported: the page is answered `FAIL_TAKE_PICTURE`.
class AssetExports : public vc::AVAssetExports {
 public:
  std::shared_ptr<vc::AVAsset> assetWithURL(const vc::URL& /*url*/) override {
    return std::make_shared<vc::AVAsset>();
  }
  std::shared_ptr<vc::AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<vc::AVAsset>& /*asset*/, std::string_view /*presetName*/) override {
    return nullptr;
  }
};

}  // namespace host
