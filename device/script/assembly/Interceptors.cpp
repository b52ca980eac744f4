#include "device/script/assembly/Interceptors.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <utility>

#include "device/foundation/Urls.h"
#include "device/foundation/files/CocoaErrors.h"

namespace vecamera::device::script {
namespace {

NSError described(NSError error, const Fault& fault) {
  if (fault.error)
    error.userInfo.insert_or_assign(std::string(NSLocalizedDescriptionKey), *fault.error);
  return error;
}

std::string pathOf(const URL& url) {
  return foundation::filePathOf(url).value_or(url.absoluteString());
}

/// One use of a service, from its making on.
class TraceScope {
 public:
  TraceScope(const Interception& by, std::string_view what, std::optional<std::uint64_t> bytes = {})
      : span{what, 0, bytes}, by_(&by) {}

  void setSize(const std::shared_ptr<UIImage>& image) {
    if (!image) return;
    span.width = image->size().width;
    span.height = image->size().height;
  }
  void setError(const std::optional<NSError>& error) {
    if (error) span.error = error->localizedDescription();
  }
  void finish() {
    span.ms = std::chrono::duration<double, std::milli>(Clock::now() - begun_).count();
    if (by_->trace) by_->trace(span);
  }

  TraceSpan span;

 private:
  using Clock = std::chrono::steady_clock;
  const Interception* by_;
  Clock::time_point begun_ = Clock::now();
};

template <class Service>
class Interceptor : public Service {
 public:
  Interceptor(Service& real, const Interception& by) : real_(real), by_(by) {}

 protected:
  bool strikes(FaultPoint point) { return by_.faults.strike(point).has_value(); }

  Service& real_;
  const Interception& by_;
};

class InterceptingFileManager : public Interceptor<NSFileManager> {
 public:
  using Interceptor::Interceptor;
  std::optional<std::string> temporaryDirectory() override { return real_.temporaryDirectory(); }
  std::string stringByStandardizingPath(std::string_view path) override {
    return real_.stringByStandardizingPath(path);
  }
  bool fileExistsAtPath(std::string_view path) override { return real_.fileExistsAtPath(path); }
  void waitForChangeAtPath(std::string_view path) override { by_.waitForChange(path); }
  std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view path) override {
    return real_.fileHandleForReadingAtPath(path);
  }
  std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override {
    return strikes(FaultPoint::enumerator) ? nullptr : real_.enumeratorAtPath(path);
  }

  bool createFileAtPath(std::string_view path, const Data& contents) override {
    TraceScope use(by_, "writeFile", contents.size());
    const bool isCreated =
        !strikes(FaultPoint::createFile) && real_.createFileAtPath(path, contents);
    use.span.path = path;
    if (!isCreated) use.span.error = "the file was not created";
    use.finish();
    return isCreated;
  }

  std::optional<NSError> removeItemAtPath(std::string_view path) override {
    TraceScope use(by_, "removeFile");
    const std::string directory = real_.temporaryDirectory().value_or("");
    const auto name = path.starts_with(directory) ? path.substr(directory.size()) : path;
    // The plug-in asks under the name that a URL gives the file; a script may use either.
    const auto plain = foundation::removingPercentEncoding(name).value_or(std::string(name));
    const auto fault = by_.faults.strike(FaultPoint::removeItem, {name, plain});
    auto error = fault ? described(foundation::removalError(path, EIO), *fault)
                       : real_.removeItemAtPath(path);
    return finish(use, std::string(path), std::move(error));
  }

  std::optional<NSError> writeAtomically(const Data& contents, const URL& url) override {
    TraceScope use(by_, "writeFile", contents.size());
    const auto fault = by_.faults.strike(FaultPoint::writeFile);
    auto error = fault ? described(foundation::writingError(pathOf(url), EIO), *fault)
                       : real_.writeAtomically(contents, url);
    return finish(use, pathOf(url), std::move(error));
  }

 private:
  static std::optional<NSError> finish(TraceScope& use, std::string path,
                                       std::optional<NSError> error) {
    use.span.path = std::move(path);
    use.setError(error);
    use.finish();
    return error;
  }
};

class InterceptingBase64 : public Interceptor<NSDataBase64> {
 public:
  using Interceptor::Interceptor;
  std::string base64EncodedString(std::string_view prefix, const Data& data) const override {
    TraceScope use(by_, "base64", data.size());
    auto text = real_.base64EncodedString(prefix, data);
    use.finish();
    return text;
  }
  void appendBase64(std::string& text, const Data& data) const override {
    TraceScope use(by_, "base64", data.size());
    real_.appendBase64(text, data);
    use.finish();
  }
};

class InterceptingBundle : public NSBundle {
 public:
  InterceptingBundle(std::unique_ptr<NSBundle> real, const Interception& by)
      : real_(std::move(real)), by_(by) {}
  std::optional<std::string> pathForResource(std::string_view name,
                                             std::string_view type) override {
    return real_->pathForResource(name, type);
  }
  std::string localizedStringForKey(std::string_view key) override {
    TraceScope use(by_, "localized");
    auto text = real_->localizedStringForKey(key);
    use.finish();
    return text;
  }

 private:
  const std::unique_ptr<NSBundle> real_;
  const Interception& by_;
};

class InterceptingBundles : public Interceptor<NSBundles> {
 public:
  using Interceptor::Interceptor;
  std::unique_ptr<NSBundle> mainBundle() override { return intercepted(real_.mainBundle()); }
  std::unique_ptr<NSBundle> bundleWithPath(std::string_view path) override {
    return intercepted(real_.bundleWithPath(path));
  }

 private:
  std::unique_ptr<NSBundle> intercepted(std::unique_ptr<NSBundle> bundle) {
    return bundle ? std::make_unique<InterceptingBundle>(std::move(bundle), by_) : nullptr;
  }
};

class InterceptingImages : public Interceptor<UIImages> {
 public:
  using Interceptor::Interceptor;
  std::shared_ptr<UIImage> imageWithData(const Data& data) override {
    TraceScope use(by_, "decode", data.size());
    auto image = real_.imageWithData(data);
    use.setSize(image);
    if (!image) use.span.error = "the bytes are no picture";
    use.finish();
    return image;
  }
  std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                double compressionQuality) override {
    by_.holds.holdLane(HoldPoint::encoding);
    TraceScope use(by_, "encodeJPEG");
    return finish(use, image,
                  strikes(FaultPoint::jpegEncoder)
                      ? std::nullopt
                      : real_.UIImageJPEGRepresentation(image, compressionQuality));
  }
  std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) override {
    by_.holds.holdLane(HoldPoint::encoding);
    TraceScope use(by_, "encodePNG");
    return finish(
        use, image,
        strikes(FaultPoint::pngEncoder) ? std::nullopt : real_.UIImagePNGRepresentation(image));
  }

 private:
  static std::optional<Data> finish(TraceScope& use, const std::shared_ptr<UIImage>& image,
                                    std::optional<Data> bytes) {
    use.setSize(image);
    if (bytes)
      use.span.bytes = bytes->size();
    else
      use.span.error = "the picture cannot be encoded";
    use.finish();
    return bytes;
  }
};

/// One drawing, from the making of its context to its picture. Without a real context it fails.
class InterceptingImageContext : public UIGraphicsImageContext {
 public:
  InterceptingImageContext(std::unique_ptr<UIGraphicsImageContext> real, const Interception& by)
      : real_(std::move(real)), use_(by, "draw") {}
  CGContext* currentContext() override { return real_ ? real_->currentContext() : nullptr; }
  void drawInRect(const std::shared_ptr<UIImage>& image, const CGRect& rect) override {
    if (real_) real_->drawInRect(image, rect);
  }
  std::shared_ptr<UIImage> imageFromCurrentImageContext() override {
    auto image = real_ ? real_->imageFromCurrentImageContext() : nullptr;
    use_.setSize(image);
    if (!image) use_.span.error = "nothing could be drawn";
    use_.finish();
    return image;
  }

 private:
  const std::unique_ptr<UIGraphicsImageContext> real_;
  TraceScope use_;
};

class InterceptingGraphics : public Interceptor<UIGraphics> {
 public:
  using Interceptor::Interceptor;
  std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize size) override {
    return std::make_unique<InterceptingImageContext>(
        strikes(FaultPoint::bitmapContext) ? nullptr : real_.beginImageContext(size), by_);
  }
};

/// Passes everything on and hides the placeholder.
class RequestWithoutPlaceholder : public PHAssetCreationRequest {
 public:
  explicit RequestWithoutPlaceholder(PHAssetCreationRequest& real) : real_(real) {}
  void addResource(PHAssetResourceType type, const Data& data,
                   const PHAssetResourceCreationOptions& options) override {
    real_.addResource(type, data, options);
  }
  void addResource(PHAssetResourceType type, const URL& fileURL,
                   const PHAssetResourceCreationOptions& options) override {
    real_.addResource(type, fileURL, options);
  }
  std::optional<std::string> placeholderLocalIdentifier() const override { return std::nullopt; }

 private:
  PHAssetCreationRequest& real_;
};

/// The changes with requests that hide their placeholders.
class ChangesWithoutPlaceholder : public PHAssetChanges {
 public:
  explicit ChangesWithoutPlaceholder(PHAssetChanges& real) : real_(real) {}
  PHAssetCreationRequest& creationRequestForAsset() override {
    return requests_.emplace_back(real_.creationRequestForAsset());
  }

 private:
  PHAssetChanges& real_;
  std::deque<RequestWithoutPlaceholder> requests_;
};

class InterceptingPhotoLibrary : public Interceptor<PHPhotoLibrary> {
 public:
  using Interceptor::Interceptor;
  PHAuthorizationStatus authorizationStatus() override { return real_.authorizationStatus(); }
  void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) override {
    real_.requestAuthorization(std::move(handler));
  }
  std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<URL>& urls, const PHFetchOptions& options) override {
    return real_.fetchAssetsWithALAssetURLs(urls, options);
  }

  void performChanges(ChangeBlock changes, CompletionHandler completion) override {
    CompletionHandler finished = [use = TraceScope(by_, "performChanges"),
                                  completion = std::move(completion)](
                                     bool success, std::optional<NSError> error) mutable {
      use.setError(error);
      if (!success && !error) use.span.error = "the change was refused";
      use.finish();
      completion(success, std::move(error));
    };
    const auto fault = by_.faults.strike(FaultPoint::performChanges);
    if (fault && fault->noPlaceholder && !fault->error && !fault->returnsFalse) {
      auto hiding = [changes = std::move(changes)](PHAssetChanges& real) {
        ChangesWithoutPlaceholder hidden(real);
        changes(hidden);
      };
      real_.performChanges(std::move(hiding), std::move(finished));
    } else if (fault) {
      std::optional<NSError> error;
      if (fault->error || !fault->returnsFalse)
        error = described({"PHPhotosErrorDomain", -1, {}}, *fault);
      by_.queue.post([finished = std::move(finished), error] { finished(false, error); });
    } else {
      real_.performChanges(std::move(changes), std::move(finished));
    }
  }
};

class InterceptingImageManager : public Interceptor<PHImageManager> {
 public:
  using Interceptor::Interceptor;
  void requestImageDataAndOrientationForAsset(const std::shared_ptr<PHAsset>& asset,
                                              const std::optional<PHImageRequestOptions>& options,
                                              ResultHandler handler) override {
    ResultHandler finished =
        [use = TraceScope(by_, "requestImageData"), handler = std::move(handler)](
            std::optional<Data> data, std::optional<std::string> type,
            CGImagePropertyOrientation orientation, std::optional<Dictionary> info) mutable {
          if (data)
            use.span.bytes = data->size();
          else
            use.span.error = "the asset's bytes cannot be had";
          use.finish();
          handler(std::move(data), std::move(type), orientation, std::move(info));
        };
    if (strikes(FaultPoint::requestImageData))
      by_.queue.post([finished = std::move(finished)] {
        finished(std::nullopt, std::nullopt, 1, std::nullopt);
      });
    else
      real_.requestImageDataAndOrientationForAsset(asset, options, std::move(finished));
  }
};

/// An export that fails as soon as it is started.
class FailingExport : public AVAssetExportSession {
 public:
  FailingExport(NSError error, Executor& queue) : error_(std::move(error)), queue_(queue) {}
  void setOutputFileType(std::string_view) override {}
  void setOutputURL(const URL&) override {}
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) override {
    if (!started_.exchange(true)) queue_.post(std::move(handler));
  }
  void cancelExport() override {}
  AVAssetExportSessionStatus status() const override {
    return started_ ? AVAssetExportSessionStatus::failed : AVAssetExportSessionStatus::unknown;
  }
  float progress() const override { return 0; }
  std::optional<NSError> error() const override {
    return started_ ? std::optional(error_) : std::nullopt;
  }

 private:
  const NSError error_;
  Executor& queue_;
  std::atomic<bool> started_{false};
};

class InterceptingExportSession : public AVAssetExportSession {
 public:
  InterceptingExportSession(std::shared_ptr<AVAssetExportSession> real, const Interception& by)
      : real_(std::move(real)), by_(by) {}
  void setOutputFileType(std::string_view type) override { real_->setOutputFileType(type); }
  void setOutputURL(const URL& url) override {
    path_ = pathOf(url);
    real_->setOutputURL(url);
  }
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) override {
    const std::function<void()> start = [real = real_, &by = by_, path = path_,
                                         handler = std::move(handler)] {
      TraceScope use(by, "export");
      use.span.path = path;
      // The session may be gone before its end, so the handler keeps what it reads.
      real->exportAsynchronouslyWithCompletionHandler(
          [use, handler, weak = std::weak_ptr<AVAssetExportSession>(real)]() mutable {
            if (const auto session = weak.lock()) use.setError(session->error());
            use.finish();
            handler();
          });
    };
    if (!by_.holds.keep(HoldPoint::encoding, start)) start();
  }
  void cancelExport() override { real_->cancelExport(); }
  AVAssetExportSessionStatus status() const override { return real_->status(); }
  float progress() const override { return real_->progress(); }
  std::optional<NSError> error() const override { return real_->error(); }

 private:
  const std::shared_ptr<AVAssetExportSession> real_;
  const Interception& by_;
  std::string path_;
};

class InterceptingAssetExports : public Interceptor<AVAssetExports> {
 public:
  using Interceptor::Interceptor;
  std::shared_ptr<AVAsset> assetWithURL(const URL& url) override { return real_.assetWithURL(url); }
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<AVAsset>& asset, std::string_view presetName) override {
    std::shared_ptr<AVAssetExportSession> session;
    if (const auto fault = by_.faults.strike(FaultPoint::exportMovie))
      session = std::make_shared<FailingExport>(
          described({"AVFoundationErrorDomain", -11800, {}}, *fault), by_.queue);
    else
      session = real_.exportSessionWithAsset(asset, presetName);
    return session ? std::make_shared<InterceptingExportSession>(std::move(session), by_) : nullptr;
  }
};

}  // namespace

InterceptedServices intercept(NSFileManager& fileManager, NSDataBase64& base64, NSBundles& bundles,
                              UIImages& images, UIGraphics& graphics, PHPhotoLibrary& photoLibrary,
                              PHImageManager& imageManager, AVAssetExports& assetExports,
                              const Interception& by) {
  return {std::make_unique<InterceptingFileManager>(fileManager, by),
          std::make_unique<InterceptingBase64>(base64, by),
          std::make_unique<InterceptingBundles>(bundles, by),
          std::make_unique<InterceptingImages>(images, by),
          std::make_unique<InterceptingGraphics>(graphics, by),
          std::make_unique<InterceptingPhotoLibrary>(photoLibrary, by),
          std::make_unique<InterceptingImageManager>(imageManager, by),
          std::make_unique<InterceptingAssetExports>(assetExports, by)};
}

URLTransformer intercept(URLTransformer real, const Interception& by) {
  if (!real) return real;
  return [real = std::move(real), &by](const URL& url) {
    TraceScope use(by, "urlTransformer");
    auto transformed = real(url);
    use.span.path = url.absoluteString();
    if (!transformed) use.span.error = "the transformer gives nothing";
    use.finish();
    return transformed;
  };
}

}  // namespace vecamera::device::script
