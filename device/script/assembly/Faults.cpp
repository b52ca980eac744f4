#include "device/script/assembly/Faults.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "device/foundation/FileErrors.h"
#include "device/foundation/Urls.h"

namespace vecamera::device::script {
namespace {

NSError described(NSError error, const std::optional<std::string>& text) {
  if (text) error.userInfo.insert_or_assign(std::string(NSLocalizedDescriptionKey), *text);
  return error;
}

class NoContext : public UIGraphicsImageContext {
 public:
  CGContext* currentContext() override { return nullptr; }
  void drawInRect(const std::shared_ptr<UIImage>&, const CGRect&) override {}
  std::shared_ptr<UIImage> imageFromCurrentImageContext() override { return nullptr; }
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

}  // namespace

void FaultBook::set(std::vector<Fault> faults) {
  const std::lock_guard lock(mutex_);
  faults_ = std::move(faults);
}

std::optional<Fault> FaultBook::strike(FaultPoint point,
                                       std::initializer_list<std::string_view> paths) {
  const std::lock_guard lock(mutex_);
  for (auto& fault : faults_) {
    if (fault.at != point || (fault.times && *fault.times <= 0)) continue;
    if (fault.path && std::find(paths.begin(), paths.end(), *fault.path) == paths.end()) continue;
    if (fault.times) --*fault.times;
    return fault;
  }
  return std::nullopt;
}

std::vector<std::optional<std::int64_t>> FaultBook::strikesLeft() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::optional<std::int64_t>> left;
  for (const auto& fault : faults_) left.push_back(fault.times);
  return left;
}

bool FaultyFileManager::createFileAtPath(std::string_view path, const Data& contents) {
  return !faults_.strike(FaultPoint::createFile) && real_.createFileAtPath(path, contents);
}

std::unique_ptr<NSDirectoryEnumerator> FaultyFileManager::enumeratorAtPath(std::string_view path) {
  if (faults_.strike(FaultPoint::enumerator)) return nullptr;
  return real_.enumeratorAtPath(path);
}

std::optional<NSError> FaultyFileManager::removeItemAtPath(std::string_view path) {
  const std::string directory = real_.temporaryDirectory().value_or("");
  const std::string_view name = path.starts_with(directory) ? path.substr(directory.size()) : path;
  // The plug-in asks under the name that a URL gives the file; a script may use either.
  const auto plain = foundation::removingPercentEncoding(name).value_or(std::string(name));
  if (const auto fault = faults_.strike(FaultPoint::removeItem, {name, plain}))
    return described(foundation::removalError(path, EIO), fault->error);
  return real_.removeItemAtPath(path);
}

std::optional<NSError> FaultyFileManager::writeAtomically(const Data& contents, const URL& url) {
  if (const auto fault = faults_.strike(FaultPoint::writeFile))
    return described(
        foundation::writingError(foundation::filePathOf(url).value_or(url.absoluteString()), EIO),
        fault->error);
  return real_.writeAtomically(contents, url);
}

std::optional<Data> FaultyImages::UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                            double compressionQuality) {
  if (faults_.strike(FaultPoint::jpegEncoder)) return std::nullopt;
  return real_.UIImageJPEGRepresentation(image, compressionQuality);
}

std::optional<Data> FaultyImages::UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) {
  if (faults_.strike(FaultPoint::pngEncoder)) return std::nullopt;
  return real_.UIImagePNGRepresentation(image);
}

std::unique_ptr<UIGraphicsImageContext> FaultyGraphics::beginImageContext(CGSize size) {
  if (faults_.strike(FaultPoint::bitmapContext)) return std::make_unique<NoContext>();
  return real_.beginImageContext(size);
}

/// Passes everything on and hides the placeholder.
class FaultyPhotoLibrary::WithoutPlaceholder : public PHAssetCreationRequest {
 public:
  explicit WithoutPlaceholder(PHAssetCreationRequest& real) : real_(real) {}
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

void FaultyPhotoLibrary::performChanges(ChangeBlock changes, CompletionHandler completion) {
  const auto fault = faults_.strike(FaultPoint::performChanges);
  if (fault && fault->noPlaceholder && !fault->error && !fault->returnsFalse) {
    auto hiding = [this, changes = std::move(changes)] {
      hidesPlaceholders_ = true;
      changes();
      hidesPlaceholders_ = false;
      wrapped_.clear();
    };
    real_.performChanges(std::move(hiding), std::move(completion));
  } else if (fault) {
    std::optional<NSError> error;
    if (fault->error || !fault->returnsFalse)
      error = described({"PHPhotosErrorDomain", -1, {}}, fault->error);
    queue_.post([completion = std::move(completion), error] { completion(false, error); });
  } else {
    real_.performChanges(std::move(changes), std::move(completion));
  }
}

PHAssetCreationRequest& FaultyPhotoLibrary::creationRequestForAsset() {
  auto& request = real_.creationRequestForAsset();
  if (!hidesPlaceholders_) return request;
  wrapped_.push_back(std::make_unique<WithoutPlaceholder>(request));
  return *wrapped_.back();
}

void FaultyImageManager::requestImageDataAndOrientationForAsset(
    const std::shared_ptr<PHAsset>& asset, const std::optional<PHImageRequestOptions>& options,
    ResultHandler handler) {
  if (faults_.strike(FaultPoint::requestImageData)) {
    queue_.post(
        [handler = std::move(handler)] { handler(std::nullopt, std::nullopt, 1, std::nullopt); });
    return;
  }
  real_.requestImageDataAndOrientationForAsset(asset, options, std::move(handler));
}

std::shared_ptr<AVAssetExportSession> FaultyAssetExports::exportSessionWithAsset(
    const std::shared_ptr<AVAsset>& asset, std::string_view presetName) {
  if (const auto fault = faults_.strike(FaultPoint::exportMovie))
    return std::make_shared<FailingExport>(
        described({"AVFoundationErrorDomain", -11800, {}}, fault->error), queue_);
  return real_.exportSessionWithAsset(asset, presetName);
}

}  // namespace vecamera::device::script
