#pragma once

#import <Foundation/Foundation.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "VECamera/platform/Platform.h"
#include "ios/Sources/AVFoundation.h"
#include "ios/Sources/Container.h"
#include "ios/Sources/CoreLocation.h"
#include "ios/Sources/DispatchQueueExecutor.h"
#include "ios/Sources/Foundation.h"
#include "ios/Sources/ImageIO.h"
#include "ios/Sources/Images.h"
#include "ios/Sources/Photos.h"
#include "ios/Sources/ViewControllers.h"

namespace vecamera_ios {

/// Everything that the plug-ins of the process ask of container and phone. Any thread.
class PlatformHost {
 public:
  /// One for the process, made at the first call and kept for ever: blocks of the main queue,
  /// completions and handlers of permissions cannot be called back, and refer to it.
  static std::shared_ptr<PlatformHost> shared();
  /// Ends the shared one's tasks and lets it go; the next call of `shared` makes another. For
  /// tests, where nothing that refers to it can run any more.
  static void resetShared();

  PlatformHost();
  PlatformHost(const PlatformHost&) = delete;
  PlatformHost& operator=(const PlatformHost&) = delete;

  /// With references into this object, and the limit as it is now.
  vecamera::Platform platform();

  /// The longest data URL of a movie, in bytes; at first a 32nd of the phone's memory, because the
  /// container and the web view make copies of it on its way to the page.
  std::uint64_t maxMovieDataUrlBytes() const { return maxMovieDataUrlBytes_; }
  void setMaxMovieDataUrlBytes(std::uint64_t bytes) { maxMovieDataUrlBytes_ = bytes; }

 private:
  Log log_;
  Clock clock_;
  DateFormatters dateFormatters_;
  FileManager fileManager_;
  URLs urls_;
  DataBase64 base64_;
  Bundles bundles_;
  Process process_;
  Application application_;
  ImagePickers imagePickers_;
  Graphics graphics_;
  Images images_;
  ImageIO imageIO_;
  AssetExports assetExports_;
  CaptureDevice captureDevice_;
  PhotoLibrary photoLibrary_;
  ImageManager imageManager_;
  LocationServices locationServices_;
  std::atomic<std::uint64_t> maxMovieDataUrlBytes_;
  DispatchQueueExecutor mainQueue_;
  vecamera::MainActor mainActor_{mainQueue_};
  DispatchQueueExecutor background_;
  /// Last, so that it is joined first.
  vecamera::TaskScope tasks_;
};

}  // namespace vecamera_ios
