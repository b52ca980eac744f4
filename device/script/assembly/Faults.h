#pragma once

#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/platform/UIKit.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// The faults in force. Any thread.
class FaultBook {
 public:
  void set(std::vector<Fault> faults);
  /// The first fault at the point that still strikes, with one strike used up; nothing where there
  /// is none. A fault that is about one path strikes only where that is among `paths`.
  std::optional<Fault> strike(FaultPoint point, std::initializer_list<std::string_view> paths = {});
  /// How often each of the faults will strike yet, in the order in which they were set; nothing:
  /// always.
  std::vector<std::optional<std::int64_t>> strikesLeft() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
};

// The wrappers below stand before a service and pass every call on, but for those that a fault
// strikes. Book and service outlive them; threads are those of the service.

class FaultyFileManager : public NSFileManager {
 public:
  FaultyFileManager(NSFileManager& real, FaultBook& faults) : real_(real), faults_(faults) {}
  std::optional<std::string> temporaryDirectory() override { return real_.temporaryDirectory(); }
  std::string stringByStandardizingPath(std::string_view path) override {
    return real_.stringByStandardizingPath(path);
  }
  bool fileExistsAtPath(std::string_view path) override { return real_.fileExistsAtPath(path); }
  bool createFileAtPath(std::string_view path, const Data& contents) override;
  std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override;
  std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view path) override {
    return real_.fileHandleForReadingAtPath(path);
  }
  std::optional<NSError> removeItemAtPath(std::string_view path) override;
  std::optional<NSError> writeAtomically(const Data& contents, const URL& url) override;

 private:
  NSFileManager& real_;
  FaultBook& faults_;
};

class FaultyImages : public UIImages {
 public:
  FaultyImages(UIImages& real, FaultBook& faults) : real_(real), faults_(faults) {}
  std::shared_ptr<UIImage> imageWithData(const Data& data) override {
    return real_.imageWithData(data);
  }
  std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                double compressionQuality) override;
  std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) override;

 private:
  UIImages& real_;
  FaultBook& faults_;
};

class FaultyGraphics : public UIGraphics {
 public:
  FaultyGraphics(UIGraphics& real, FaultBook& faults) : real_(real), faults_(faults) {}
  std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize size) override;

 private:
  UIGraphics& real_;
  FaultBook& faults_;
};

class FaultyPhotoLibrary : public PHPhotoLibrary {
 public:
  /// Handlers of changes that a fault strikes run on `queue`.
  FaultyPhotoLibrary(PHPhotoLibrary& real, FaultBook& faults, Executor& queue)
      : real_(real), faults_(faults), queue_(queue) {}
  PHAuthorizationStatus authorizationStatus() override { return real_.authorizationStatus(); }
  void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) override {
    real_.requestAuthorization(std::move(handler));
  }
  void performChanges(ChangeBlock changes, CompletionHandler completion) override;
  PHAssetCreationRequest& creationRequestForAsset() override;
  std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<URL>& urls, const PHFetchOptions& options) override {
    return real_.fetchAssetsWithALAssetURLs(urls, options);
  }

 private:
  class WithoutPlaceholder;

  PHPhotoLibrary& real_;
  FaultBook& faults_;
  Executor& queue_;
  // Used on the library's queue only, while a change block runs.
  bool hidesPlaceholders_ = false;
  std::vector<std::unique_ptr<PHAssetCreationRequest>> wrapped_;
};

class FaultyImageManager : public PHImageManager {
 public:
  FaultyImageManager(PHImageManager& real, FaultBook& faults, Executor& queue)
      : real_(real), faults_(faults), queue_(queue) {}
  void requestImageDataAndOrientationForAsset(const std::shared_ptr<PHAsset>& asset,
                                              const std::optional<PHImageRequestOptions>& options,
                                              ResultHandler handler) override;

 private:
  PHImageManager& real_;
  FaultBook& faults_;
  Executor& queue_;
};

class FaultyAssetExports : public AVAssetExports {
 public:
  /// Handlers of exports that a fault strikes run on `queue`.
  FaultyAssetExports(AVAssetExports& real, FaultBook& faults, Executor& queue)
      : real_(real), faults_(faults), queue_(queue) {}
  std::shared_ptr<AVAsset> assetWithURL(const URL& url) override { return real_.assetWithURL(url); }
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<AVAsset>& asset, std::string_view presetName) override;

 private:
  AVAssetExports& real_;
  FaultBook& faults_;
  Executor& queue_;
};

}  // namespace vecamera::device::script
