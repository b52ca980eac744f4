#include "device/media/ExportSessions.h"

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

#include "device/foundation/Urls.h"
#include "device/media/MovieExport.h"
#include "device/media/base/MediaErrors.h"

namespace vecamera::device::media {
namespace {

class FileAsset final : public AVAsset {
 public:
  explicit FileAsset(URL url) : url_(std::move(url)) {}
  const URL& url() const { return url_; }

 private:
  const URL url_;
};

class FileExportSession final : public AVAssetExportSession,
                                public std::enable_shared_from_this<FileExportSession> {
 public:
  FileExportSession(std::shared_ptr<FileAsset> asset, Executor& queue,
                    ExportSessions::ExportCallbacks callbacks)
      : asset_(std::move(asset)), queue_(queue), callbacks_(std::move(callbacks)) {}

  void setOutputFileType(std::string_view type) override {
    const std::lock_guard lock(mutex_);
    outputFileType_ = type;
  }
  void setOutputURL(const URL& url) override {
    const std::lock_guard lock(mutex_);
    outputURL_ = url;
  }
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) override {
    {
      const std::lock_guard lock(mutex_);
      if (status_ != AVAssetExportSessionStatus::unknown) return;
      status_ = AVAssetExportSessionStatus::waiting;
    }
    queue_.post([self = shared_from_this(), handler = std::move(handler)] {
      self->run();
      if (handler) handler();
    });
  }
  void cancelExport() override { isCancelled_ = true; }
  AVAssetExportSessionStatus status() const override {
    const std::lock_guard lock(mutex_);
    return status_;
  }
  float progress() const override { return progress_; }
  std::optional<NSError> error() const override {
    const std::lock_guard lock(mutex_);
    return error_;
  }

 private:
  void run() {
    std::string type;
    std::optional<URL> target;
    {
      const std::lock_guard lock(mutex_);
      status_ = AVAssetExportSessionStatus::exporting;
      type = outputFileType_;
      target = outputURL_;
    }
    MediaResult<void> done;
    try {
      done = exportTo(type, target);
    } catch (const std::exception& thrown) {
      done = mediaFailure(thrown);
    }
    end(done);
    if (!done && callbacks_.onError) callbacks_.onError(done.error());
  }

  MediaResult<void> exportTo(const std::string& type, const std::optional<URL>& target) {
    if (isCancelled_) return mediaFailure(AVError::operationCancelled, "Cancelled.");
    if (type != AVFileTypeMPEG4)
      return mediaFailure(AVError::exportFailed,
                          "The output file type \"" + type + "\" cannot be written.");
    const auto source = foundation::filePathOf(asset_->url());
    if (!source)
      return mediaFailure(AVError::unknown, "The movie's address is not that of a file.");
    const auto path = target ? foundation::filePathOf(*target) : std::nullopt;
    if (!path) return mediaFailure(AVError::unknown, "The output address is not that of a file.");
    ExportOptions options;
    options.isCancelled = [this] {
      return isCancelled_ || (callbacks_.isCancelled && callbacks_.isCancelled());
    };
    options.onProgress = [this](float progress) {
      progress_ = progress;
      if (callbacks_.onProgress) callbacks_.onProgress(progress);
    };
    return exportMovie(*source, *path, options);
  }

  void end(const MediaResult<void>& done) {
    const std::lock_guard lock(mutex_);
    status_ = AVAssetExportSessionStatus::completed;
    if (done) return;
    error_ = done.error();
    status_ = isMediaError(*error_, AVError::operationCancelled)
                  ? AVAssetExportSessionStatus::cancelled
                  : AVAssetExportSessionStatus::failed;
  }

  const std::shared_ptr<FileAsset> asset_;
  Executor& queue_;
  const ExportSessions::ExportCallbacks callbacks_;
  std::atomic<bool> isCancelled_ = false;
  std::atomic<float> progress_ = 0;
  /// Guards what follows.
  mutable std::mutex mutex_;
  std::string outputFileType_;
  std::optional<URL> outputURL_;
  AVAssetExportSessionStatus status_ = AVAssetExportSessionStatus::unknown;
  std::optional<NSError> error_;
};

}  // namespace

std::shared_ptr<AVAsset> ExportSessions::assetWithURL(const URL& url) {
  return std::make_shared<FileAsset>(url);
}

std::shared_ptr<AVAssetExportSession> ExportSessions::exportSessionWithAsset(
    const std::shared_ptr<AVAsset>& asset, std::string_view presetName) {
  auto file = std::dynamic_pointer_cast<FileAsset>(asset);
  if (!file || presetName != AVAssetExportPresetHighestQuality) return nullptr;
  return std::make_shared<FileExportSession>(std::move(file), queue_, callbacks_);
}

}  // namespace vecamera::device::media
