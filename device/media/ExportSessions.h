#pragma once

#include <functional>
#include <utility>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/runtime/Executor.h"
#include "device/base/CancellationCheck.h"

namespace vecamera::device::media {

/// The device's exports, made by `exportMovie`. Any thread.
///
/// A session runs as one job of the queue, which also runs the handler; the queue outlives the
/// sessions and the handlers. One that is cancelled before its job runs ends as cancelled and reads
/// nothing. A second start of a session is ignored.
class ExportSessions final : public AVAssetExports {
 public:
  /// For every export, on the queue's thread; each may be empty.
  struct ExportCallbacks {
    /// Called with the rising progress of a running export.
    std::function<void(float)> onProgress;
    /// Cancels the export that runs.
    CancellationCheck isCancelled;
    /// Called when an export failed or was cancelled, before its handler runs.
    std::function<void(const NSError&)> onError;
  };

  ExportSessions(Executor& queue, ExportCallbacks callbacks)
      : queue_(queue), callbacks_(std::move(callbacks)) {}

  std::shared_ptr<AVAsset> assetWithURL(const URL& url) override;
  /// Null for an asset of another maker and for every preset but the highest quality. The file is
  /// not looked at.
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<AVAsset>& asset, std::string_view presetName) override;

 private:
  Executor& queue_;
  const ExportCallbacks callbacks_;
};

}  // namespace vecamera::device::media
