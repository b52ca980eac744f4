#include "device/script/assembly/Tracing.h"

#include <chrono>
#include <utility>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/platform/UIKit.h"
#include "device/foundation/Urls.h"

namespace vecamera::device::script {
namespace {

class Stopwatch {
 public:
  double ms() const {
    return std::chrono::duration<double, std::milli>(Clock::now() - begun_).count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point begun_ = Clock::now();
};

void setSize(TraceSpan& span, const std::shared_ptr<UIImage>& image) {
  if (!image) return;
  span.width = image->size().width;
  span.height = image->size().height;
}

void setError(TraceSpan& span, const std::optional<NSError>& error) {
  if (error) span.error = error->localizedDescription();
}

class TracedFiles : public NSFileManager {
 public:
  TracedFiles(NSFileManager& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  std::optional<std::string> temporaryDirectory() override { return real_.temporaryDirectory(); }
  std::string stringByStandardizingPath(std::string_view path) override {
    return real_.stringByStandardizingPath(path);
  }
  bool fileExistsAtPath(std::string_view path) override { return real_.fileExistsAtPath(path); }
  std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override {
    return real_.enumeratorAtPath(path);
  }
  std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view path) override {
    return real_.fileHandleForReadingAtPath(path);
  }
  bool createFileAtPath(std::string_view path, const Data& contents) override {
    const Stopwatch watch;
    const bool isCreated = real_.createFileAtPath(path, contents);
    TraceSpan span{"writeFile", watch.ms(), contents.size()};
    span.path = path;
    if (!isCreated) span.error = "the file was not created";
    sink_(span);
    return isCreated;
  }
  std::optional<NSError> removeItemAtPath(std::string_view path) override {
    const Stopwatch watch;
    auto error = real_.removeItemAtPath(path);
    TraceSpan span{"removeFile", watch.ms()};
    span.path = path;
    setError(span, error);
    sink_(span);
    return error;
  }
  std::optional<NSError> writeAtomically(const Data& contents, const URL& url) override {
    const Stopwatch watch;
    auto error = real_.writeAtomically(contents, url);
    TraceSpan span{"writeFile", watch.ms(), contents.size()};
    span.path = foundation::filePathOf(url).value_or(url.absoluteString());
    setError(span, error);
    sink_(span);
    return error;
  }

 private:
  NSFileManager& real_;
  const TraceSink& sink_;
};

class TracedBase64 : public NSDataBase64 {
 public:
  TracedBase64(NSDataBase64& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  std::string base64EncodedString(std::string_view prefix, const Data& data) const override {
    const Stopwatch watch;
    auto text = real_.base64EncodedString(prefix, data);
    sink_({"base64", watch.ms(), data.size()});
    return text;
  }
  void appendBase64(std::string& text, const Data& data) const override {
    const Stopwatch watch;
    real_.appendBase64(text, data);
    sink_({"base64", watch.ms(), data.size()});
  }

 private:
  NSDataBase64& real_;
  const TraceSink& sink_;
};

class TracedBundle : public NSBundle {
 public:
  TracedBundle(std::unique_ptr<NSBundle> real, const TraceSink& sink)
      : real_(std::move(real)), sink_(sink) {}
  std::optional<std::string> pathForResource(std::string_view name,
                                             std::string_view type) override {
    return real_->pathForResource(name, type);
  }
  std::string localizedStringForKey(std::string_view key) override {
    const Stopwatch watch;
    auto text = real_->localizedStringForKey(key);
    sink_({"localized", watch.ms()});
    return text;
  }

 private:
  const std::unique_ptr<NSBundle> real_;
  const TraceSink& sink_;
};

class TracedBundles : public NSBundles {
 public:
  TracedBundles(NSBundles& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  std::unique_ptr<NSBundle> mainBundle() override { return traced(real_.mainBundle()); }
  std::unique_ptr<NSBundle> bundleWithPath(std::string_view path) override {
    return traced(real_.bundleWithPath(path));
  }

 private:
  std::unique_ptr<NSBundle> traced(std::unique_ptr<NSBundle> bundle) {
    return bundle ? std::make_unique<TracedBundle>(std::move(bundle), sink_) : nullptr;
  }

  NSBundles& real_;
  const TraceSink& sink_;
};

class TracedImages : public UIImages {
 public:
  TracedImages(UIImages& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  std::shared_ptr<UIImage> imageWithData(const Data& data) override {
    const Stopwatch watch;
    auto image = real_.imageWithData(data);
    TraceSpan span{"decode", watch.ms(), data.size()};
    setSize(span, image);
    if (!image) span.error = "the bytes are no picture";
    sink_(span);
    return image;
  }
  std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                double compressionQuality) override {
    const Stopwatch watch;
    auto bytes = real_.UIImageJPEGRepresentation(image, compressionQuality);
    tell("encodeJPEG", watch, image, bytes);
    return bytes;
  }
  std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) override {
    const Stopwatch watch;
    auto bytes = real_.UIImagePNGRepresentation(image);
    tell("encodePNG", watch, image, bytes);
    return bytes;
  }

 private:
  void tell(std::string_view what, const Stopwatch& watch, const std::shared_ptr<UIImage>& image,
            const std::optional<Data>& bytes) {
    TraceSpan span{what, watch.ms()};
    setSize(span, image);
    if (bytes)
      span.bytes = bytes->size();
    else
      span.error = "the picture cannot be encoded";
    sink_(span);
  }

  UIImages& real_;
  const TraceSink& sink_;
};

/// One drawing, from the making of its context to its picture.
class TracedContext : public UIGraphicsImageContext {
 public:
  TracedContext(std::unique_ptr<UIGraphicsImageContext> real, const TraceSink& sink)
      : real_(std::move(real)), sink_(sink) {}
  CGContext* currentContext() override { return real_->currentContext(); }
  void drawInRect(const std::shared_ptr<UIImage>& image, const CGRect& rect) override {
    real_->drawInRect(image, rect);
  }
  std::shared_ptr<UIImage> imageFromCurrentImageContext() override {
    auto image = real_->imageFromCurrentImageContext();
    TraceSpan span{"draw", watch_.ms()};
    setSize(span, image);
    if (!image) span.error = "nothing could be drawn";
    sink_(span);
    return image;
  }

 private:
  const Stopwatch watch_;
  const std::unique_ptr<UIGraphicsImageContext> real_;
  const TraceSink& sink_;
};

class TracedGraphics : public UIGraphics {
 public:
  TracedGraphics(UIGraphics& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize size) override {
    return std::make_unique<TracedContext>(real_.beginImageContext(size), sink_);
  }

 private:
  UIGraphics& real_;
  const TraceSink& sink_;
};

class TracedPhotoLibrary : public PHPhotoLibrary {
 public:
  TracedPhotoLibrary(PHPhotoLibrary& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  PHAuthorizationStatus authorizationStatus() override { return real_.authorizationStatus(); }
  void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) override {
    real_.requestAuthorization(std::move(handler));
  }
  void performChanges(ChangeBlock changes, CompletionHandler completion) override {
    real_.performChanges(std::move(changes),
                         [completion = std::move(completion), watch = Stopwatch(), &sink = sink_](
                             bool success, std::optional<NSError> error) {
                           TraceSpan span{"performChanges", watch.ms()};
                           setError(span, error);
                           if (!success && !error) span.error = "the change was refused";
                           sink(span);
                           completion(success, std::move(error));
                         });
  }
  PHAssetCreationRequest& creationRequestForAsset() override {
    return real_.creationRequestForAsset();
  }
  std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<URL>& urls, const PHFetchOptions& options) override {
    return real_.fetchAssetsWithALAssetURLs(urls, options);
  }

 private:
  PHPhotoLibrary& real_;
  const TraceSink& sink_;
};

class TracedImageManager : public PHImageManager {
 public:
  TracedImageManager(PHImageManager& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  void requestImageDataAndOrientationForAsset(const std::shared_ptr<PHAsset>& asset,
                                              const std::optional<PHImageRequestOptions>& options,
                                              ResultHandler handler) override {
    real_.requestImageDataAndOrientationForAsset(
        asset, options,
        [handler = std::move(handler), watch = Stopwatch(), &sink = sink_](
            std::optional<Data> data, std::optional<std::string> type,
            CGImagePropertyOrientation orientation, std::optional<Dictionary> info) {
          TraceSpan span{"requestImageData", watch.ms()};
          if (data)
            span.bytes = data->size();
          else
            span.error = "the asset's bytes cannot be had";
          sink(span);
          handler(std::move(data), std::move(type), orientation, std::move(info));
        });
  }

 private:
  PHImageManager& real_;
  const TraceSink& sink_;
};

class TracedExport : public AVAssetExportSession {
 public:
  TracedExport(std::shared_ptr<AVAssetExportSession> real, const TraceSink& sink)
      : real_(std::move(real)), sink_(sink) {}
  void setOutputFileType(std::string_view type) override { real_->setOutputFileType(type); }
  void setOutputURL(const URL& url) override {
    path_ = foundation::filePathOf(url).value_or(url.absoluteString());
    real_->setOutputURL(url);
  }
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) override {
    // The session may be let go of before its end, so the handler keeps what it reads.
    real_->exportAsynchronouslyWithCompletionHandler(
        [handler = std::move(handler), watch = Stopwatch(), path = path_,
         weak = std::weak_ptr<AVAssetExportSession>(real_), &sink = sink_] {
          TraceSpan span{"export", watch.ms()};
          span.path = path;
          if (const auto session = weak.lock()) setError(span, session->error());
          sink(span);
          handler();
        });
  }
  void cancelExport() override { real_->cancelExport(); }
  AVAssetExportSessionStatus status() const override { return real_->status(); }
  float progress() const override { return real_->progress(); }
  std::optional<NSError> error() const override { return real_->error(); }

 private:
  const std::shared_ptr<AVAssetExportSession> real_;
  const TraceSink& sink_;
  std::string path_;
};

class TracedExports : public AVAssetExports {
 public:
  TracedExports(AVAssetExports& real, const TraceSink& sink) : real_(real), sink_(sink) {}
  std::shared_ptr<AVAsset> assetWithURL(const URL& url) override { return real_.assetWithURL(url); }
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      const std::shared_ptr<AVAsset>& asset, std::string_view presetName) override {
    auto session = real_.exportSessionWithAsset(asset, presetName);
    return session ? std::make_shared<TracedExport>(std::move(session), sink_) : nullptr;
  }

 private:
  AVAssetExports& real_;
  const TraceSink& sink_;
};

}  // namespace

struct TracedServices::Services {
  Services(const Platform& platform, TraceSink traceSink)
      : real(platform),
        sink(std::move(traceSink)),
        files(real.fileManager, sink),
        base64(real.base64, sink),
        bundles(real.bundles, sink),
        images(real.images, sink),
        graphics(real.graphics, sink),
        photoLibrary(real.photoLibrary, sink),
        imageManager(real.imageManager, sink),
        exports(real.assetExports, sink) {}

  const Platform real;
  const TraceSink sink;
  TracedFiles files;
  TracedBase64 base64;
  TracedBundles bundles;
  TracedImages images;
  TracedGraphics graphics;
  TracedPhotoLibrary photoLibrary;
  TracedImageManager imageManager;
  TracedExports exports;
};

TracedServices::TracedServices(const Platform& real, TraceSink sink)
    : services_(std::make_unique<Services>(real, std::move(sink))) {}

TracedServices::~TracedServices() = default;

Platform TracedServices::platform() {
  const auto& real = services_->real;
  return Platform{.log = real.log,
                  .clock = real.clock,
                  .dateFormatters = real.dateFormatters,
                  .fileManager = services_->files,
                  .urls = real.urls,
                  .base64 = services_->base64,
                  .bundles = services_->bundles,
                  .process = real.process,
                  .application = real.application,
                  .imagePickers = real.imagePickers,
                  .graphics = services_->graphics,
                  .images = services_->images,
                  .imageIO = real.imageIO,
                  .assetExports = services_->exports,
                  .captureDevice = real.captureDevice,
                  .photoLibrary = services_->photoLibrary,
                  .imageManager = services_->imageManager,
                  .coreLocation = real.coreLocation,
                  .mainQueue = real.mainQueue,
                  .mainActor = real.mainActor,
                  .background = real.background,
                  .tasks = real.tasks};
}

URLTransformer TracedServices::traced(URLTransformer transformer) const {
  if (!transformer) return transformer;
  return [transformer = std::move(transformer), &sink = services_->sink](const URL& url) {
    const Stopwatch watch;
    auto transformed = transformer(url);
    TraceSpan span{"urlTransformer", watch.ms()};
    span.path = url.absoluteString();
    if (!transformed) span.error = "the transformer gives nothing";
    sink(span);
    return transformed;
  };
}

}  // namespace vecamera::device::script
