#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "VECamera/platform/Platform.h"
#include "device/script/assembly/FaultPlan.h"
#include "device/script/assembly/Holds.h"
#include "device/script/assembly/TraceSpan.h"

namespace vecamera::device::script {

/// What the interceptors of a scripted device use.
struct Interception {
  FaultPlan& faults;
  Holds& holds;
  /// Notified of each use. May be empty.
  TraceSink trace;
  /// Where the handlers of failed operations run.
  Executor& queue;
  /// What the file manager does between two questions whether a file exists.
  std::function<void(std::string_view path)> waitForChange;
};

/// Interceptors, one in front of each service. They pass on every call that no fault strikes, and
/// one that is held later.
struct InterceptedServices {
  std::unique_ptr<NSFileManager> fileManager;
  std::unique_ptr<NSDataBase64> base64;
  std::unique_ptr<NSBundles> bundles;
  std::unique_ptr<UIImages> images;
  std::unique_ptr<UIGraphics> graphics;
  std::unique_ptr<PHPhotoLibrary> photoLibrary;
  std::unique_ptr<PHImageManager> imageManager;
  std::unique_ptr<AVAssetExports> assetExports;
};

/// Services and interception outlive the result; threads are those of each service.
InterceptedServices intercept(NSFileManager& fileManager, NSDataBase64& base64, NSBundles& bundles,
                              UIImages& images, UIGraphics& graphics, PHPhotoLibrary& photoLibrary,
                              PHImageManager& imageManager, AVAssetExports& assetExports,
                              const Interception& by);
/// An empty transformer stays empty.
URLTransformer intercept(URLTransformer real, const Interception& by);

}  // namespace vecamera::device::script
