#import "ios/Sources/AVFoundation.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

#include "ios/Sources/SingleHandler.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {
namespace {

class Asset final : public vecamera::AVAsset, public NativeReference {
 public:
  Asset(AVURLAsset* native, vecamera::URL url) : native_(native), url_(std::move(url)) {}
  id native() const override { return native_; }

 private:
  AVURLAsset* const native_;
  /// For its owner.
  const vecamera::URL url_;
};

class ExportSession final : public vecamera::AVAssetExportSession, public NativeReference {
 public:
  ExportSession(::AVAssetExportSession* native, std::shared_ptr<Asset> asset)
      : state_(std::make_shared<State>(native, std::move(asset))) {}

  id native() const override { return state_->native; }
  void setOutputFileType(std::string_view type) override {
    state_->attempt([&] { state_->native.outputFileType = toNSString(type); });
  }
  void setOutputURL(const vecamera::URL& url) override {
    @autoreleasepool {
      NSURL* output = toNSURL(url);
      if (!output) state_->fail({toText(NSURLErrorDomain), NSURLErrorUnsupportedURL, {}});
      state_->attempt([&] { state_->native.outputURL = output; });
    }
  }
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) override;
  void cancelExport() override {
    @autoreleasepool {
      [state_->native cancelExport];
    }
  }
  vecamera::AVAssetExportSessionStatus status() const override { return state_->status(); }
  float progress() const override {
    @autoreleasepool {
      const float now = std::clamp(state_->native.progress, 0.0F, 1.0F);
      const std::lock_guard lock(state_->mutex);
      return state_->progress = std::max(state_->progress, now);
    }
  }
  std::optional<vecamera::NSError> error() const override {
    {
      const std::lock_guard lock(state_->mutex);
      if (state_->failure) return state_->failure;
    }
    @autoreleasepool {
      return toError(state_->native.error);
    }
  }

 private:
  /// What a running export needs, also where nobody holds the session any more.
  struct State {
    State(::AVAssetExportSession* session, std::shared_ptr<Asset> source)
        : native(session), asset(std::move(source)) {}

    /// Runs a step that raises where the phone refuses it.
    template <class Step>
    void attempt(Step step) {
      @autoreleasepool {
        @try {
          step();
        } @catch (NSException* raised) {
          fail(errorOf(raised));
        }
      }
    }
    void fail(vecamera::NSError error) {
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::move(error);
    }
    bool hasFailed() const {
      const std::lock_guard lock(mutex);
      return failure.has_value();
    }
    vecamera::AVAssetExportSessionStatus status() const {
      @autoreleasepool {
        return hasFailed() ? vecamera::AVAssetExportSessionStatus::failed
                           : static_cast<vecamera::AVAssetExportSessionStatus>(native.status);
      }
    }

    ::AVAssetExportSession* const native;
    const std::shared_ptr<Asset> asset;
    mutable std::mutex mutex;
    // Guarded by the mutex.
    std::optional<vecamera::NSError> failure;
    float progress = 0;
    bool isStarted = false;
  };

  const std::shared_ptr<State> state_;
};

void ExportSession::exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) {
  {
    const std::lock_guard lock(state_->mutex);
    if (std::exchange(state_->isStarted, true)) return;  // a second start raises on the phone
  }
  const SingleHandler<> ended(std::move(handler));
  // The native session may keep its block for good, and the state keeps the native session.
  __block std::shared_ptr<State> running = state_;
  const dispatch_block_t onEnd = ^{
    @autoreleasepool {
      const auto state = std::exchange(running, nullptr);
      if (!state) return;
      NSURL* output = state->native.outputURL;
      // The phone leaves what it has written so far.
      if (state->status() != vecamera::AVAssetExportSessionStatus::completed && output)
        [NSFileManager.defaultManager removeItemAtURL:output error:nil];
      ended();
    }
  };
  if (!state_->hasFailed())
    state_->attempt([&] { [state_->native exportAsynchronouslyWithCompletionHandler:onEnd]; });
  if (state_->hasFailed()) ended();
  ended.callReturned();
}

}  // namespace

vecamera::AVAuthorizationStatus CaptureDevice::authorizationStatusForMediaType(
    std::string_view mediaType) {
  @autoreleasepool {
    @try {
      return static_cast<vecamera::AVAuthorizationStatus>(
          [::AVCaptureDevice authorizationStatusForMediaType:toNSString(mediaType)]);
    } @catch (NSException*) {  // a type that needs no permission
      return vecamera::AVAuthorizationStatus::restricted;
    }
  }
}

void CaptureDevice::requestAccessForMediaType(std::string_view mediaType,
                                              std::function<void(bool granted)> handler) {
  const SingleHandler<bool> decided(std::move(handler));
  @autoreleasepool {
    @try {
      [::AVCaptureDevice requestAccessForMediaType:toNSString(mediaType)
                                 completionHandler:^(BOOL granted) {
                                   decided(granted);
                                 }];
    } @catch (NSException*) {
      decided(false);
    }
  }
  decided.callReturned();
}

std::shared_ptr<vecamera::AVAsset> AssetExports::assetWithURL(const vecamera::URL& url) {
  @autoreleasepool {
    NSURL* address = toNSURL(url);
    if (!address) return nullptr;
    return std::make_shared<Asset>([AVURLAsset URLAssetWithURL:address options:nil], url);
  }
}

std::shared_ptr<vecamera::AVAssetExportSession> AssetExports::exportSessionWithAsset(
    const std::shared_ptr<vecamera::AVAsset>& asset, std::string_view presetName) {
  auto source = std::dynamic_pointer_cast<Asset>(asset);
  if (!source) return nullptr;
  @autoreleasepool {
    ::AVAssetExportSession* native =
        [::AVAssetExportSession exportSessionWithAsset:source->native()
                                            presetName:toNSString(presetName)];
    return native ? std::make_shared<ExportSession>(native, std::move(source)) : nullptr;
  }
}

}  // namespace vecamera_ios
