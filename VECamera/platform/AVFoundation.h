#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Value.h"
#include "VECamera/runtime/Executor.h"
#include "VECamera/runtime/Task.h"

namespace vecamera {

inline constexpr std::string_view AVMediaTypeVideo = "vide";

/// With the platform's raw values; a platform may report others.
enum class AVAuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, authorized = 3 };

/// The camera's authorization.
class AVCaptureDevice {
 public:
  virtual ~AVCaptureDevice() = default;
  /// Any executor.
  virtual AVAuthorizationStatus authorizationStatusForMediaType(std::string_view mediaType) = 0;
  /// Asks the user where that is not decided yet. The handler runs once, on a thread of the
  /// platform's choosing, never before this call returns; true means granted.
  virtual void requestAccessForMediaType(std::string_view mediaType,
                                         std::function<void(bool granted)> handler) = 0;
};

/// The output file type of an MPEG-4 file.
inline constexpr std::string_view AVFileTypeMPEG4 = "public.mpeg-4";
/// The source's own size and a high bit rate; streams that fit the output file as they are need not
/// be encoded again.
inline constexpr std::string_view AVAssetExportPresetHighestQuality =
    "AVAssetExportPresetHighestQuality";

/// A movie behind an address. Nothing of it is read before it is exported.
class AVAsset : public Object {};

/// With the platform's raw values.
enum class AVAssetExportSessionStatus {
  unknown = 0,
  waiting = 1,
  exporting = 2,
  completed = 3,
  failed = 4,
  cancelled = 5,
};

/// One export of one asset into one file. The setters come before the start and report nothing:
/// what they cannot take makes the export fail. Everything else may be called on any thread. A
/// session that is released before its handler has run goes on to its end.
class AVAssetExportSession : public Object {
 public:
  virtual void setOutputFileType(std::string_view type) = 0;
  /// A file URL at which no file is.
  virtual void setOutputURL(const URL& url) = 0;
  /// Starts the export; once. The handler runs once, on a thread of the platform's choosing, never
  /// before this call returns, when the status is completed, failed or cancelled for good. Of a
  /// session that did not complete, the file is removed before the handler runs.
  virtual void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) = 0;
  /// Asks for the end of a running export. One that has ended already stays as it is.
  virtual void cancelExport() = 0;
  virtual AVAssetExportSessionStatus status() const = 0;
  /// From 0 to 1, never falling.
  virtual float progress() const = 0;
  /// Why the export failed or was cancelled; nothing where the platform gives no reason.
  virtual std::optional<NSError> error() const = 0;
};

/// Makes assets and export sessions. Called on any executor.
class AVAssetExports {
 public:
  virtual ~AVAssetExports() = default;
  /// The asset keeps a copy of the URL, whose owner may keep the movie's file.
  virtual std::shared_ptr<AVAsset> assetWithURL(const URL& url) = 0;
  /// Null where the asset cannot be exported with the preset.
  virtual std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<AVAsset>& asset, std::string_view presetName) = 0;
};

/// Awaitable export: starts the session and returns when it has completed, or throws
/// `NSErrorException` with the session's error, or, where the session gives none, with an error of
/// the domain "AVFoundationErrorDomain" and the platform's code for a failed or a cancelled export.
/// The waiter resumes on `resumeOn`. It does not react to cancellation of the waiting task.
Task<void> exportAsync(std::shared_ptr<AVAssetExportSession> session, Executor& resumeOn);

}  // namespace vecamera
