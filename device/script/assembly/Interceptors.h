#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Platform.h"
#include "device/script/assembly/FaultBook.h"

namespace vecamera::device::script {

/// One use that the plug-in made of a service of the platform, with what is known of it.
struct TraceSpan {
  /// "decode", "draw" (turning, scaling, cropping), "encodeJPEG", "encodePNG", "requestImageData",
  /// "writeFile", "removeFile", "performChanges", "export", "base64", "urlTransformer" or
  /// "localized". Pictures are lazy: a drawing is carried out where its pixels are first needed.
  std::string_view what;
  /// From the call to its result.
  double ms = 0;
  /// Of the file, the picture or the data.
  std::optional<std::uint64_t> bytes{};
  /// In points of the picture.
  std::optional<double> width{};
  std::optional<double> height{};
  std::optional<std::string> path{};
  /// Why there is no result.
  std::optional<std::string> error{};
};

/// Called where the service was used, or where it handed its result over.
using TraceSink = std::function<void(const TraceSpan&)>;

/// What stands between the plug-in and the services of a scripted device.
struct Interception {
  FaultBook& faults;
  /// Notified of each use. May be empty.
  TraceSink trace;
  /// Where handlers run of operations that a fault strikes.
  Executor& queue;
};

// Each stands before a service and passes every call on, but for those that a fault strikes.
// Service and interception outlive it; threads are those of the service.

std::unique_ptr<NSFileManager> intercept(NSFileManager& real, const Interception& by);
std::unique_ptr<NSDataBase64> intercept(NSDataBase64& real, const Interception& by);
std::unique_ptr<NSBundles> intercept(NSBundles& real, const Interception& by);
std::unique_ptr<UIImages> intercept(UIImages& real, const Interception& by);
std::unique_ptr<UIGraphics> intercept(UIGraphics& real, const Interception& by);
std::unique_ptr<PHPhotoLibrary> intercept(PHPhotoLibrary& real, const Interception& by);
std::unique_ptr<PHImageManager> intercept(PHImageManager& real, const Interception& by);
std::unique_ptr<AVAssetExports> intercept(AVAssetExports& real, const Interception& by);
/// An empty transformer stays empty.
URLTransformer intercept(URLTransformer real, const Interception& by);

}  // namespace vecamera::device::script
