#pragma once

#import <Photos/Photos.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "VECamera/platform/Photos.h"

namespace vecamera_ios {

/// The asset as the module knows it; null for nil. Any thread.
std::shared_ptr<vecamera::PHAsset> assetOf(PHAsset* _Nullable asset);

/// The phone's shared library. Asks for its permission without an access level: these operations
/// report limited access as authorized, for which the module opens the picker.
class PhotoLibrary : public vecamera::PHPhotoLibrary {
 public:
  vecamera::PHAuthorizationStatus authorizationStatus() override;
  void requestAuthorization(std::function<void(vecamera::PHAuthorizationStatus)> handler) override;
  /// What the framework raises inside the block makes the change fail.
  void performChanges(ChangeBlock changes, CompletionHandler completion) override;
  std::vector<std::shared_ptr<vecamera::PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<vecamera::URL>& urls, const vecamera::PHFetchOptions& options) override;
};

/// The phone's default image manager. A picture that is in the cloud alone gives no data, because
/// fresh options forbid the network.
class ImageManager : public vecamera::PHImageManager {
 public:
  void requestImageDataAndOrientationForAsset(
      const std::shared_ptr<vecamera::PHAsset>& asset,
      const std::optional<vecamera::PHImageRequestOptions>& options,
      ResultHandler handler) override;
};

}  // namespace vecamera_ios
