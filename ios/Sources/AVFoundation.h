#pragma once

#import <AVFoundation/AVFoundation.h>

#include <functional>
#include <memory>
#include <string_view>

#include "VECamera/platform/AVFoundation.h"

namespace vecamera_ios {

class CaptureDevice : public vecamera::AVCaptureDevice {
 public:
  vecamera::AVAuthorizationStatus authorizationStatusForMediaType(
      std::string_view mediaType) override;
  void requestAccessForMediaType(std::string_view mediaType,
                                 std::function<void(bool granted)> handler) override;
};

/// The phone's exports. One that runs when the application is suspended goes on for the short time
/// that the phone leaves it, and then ends with an error.
class AssetExports : public vecamera::AVAssetExports {
 public:
  /// The asset keeps the owner of the URL, and a session its asset, so that a file which a host has
  /// made for the URL is there until the export has ended. Null where the text is no URL.
  std::shared_ptr<vecamera::AVAsset> assetWithURL(const vecamera::URL& url) override;
  std::shared_ptr<vecamera::AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<vecamera::AVAsset>& asset, std::string_view presetName) override;
};

}  // namespace vecamera_ios
