#include "device/photos/PhotoLibrary.h"

#include <utility>

#include "device/foundation/Urls.h"
#include "device/photos/AssetAddress.h"

namespace vecamera::device::photos {

namespace {

constexpr std::string_view errorDomain = "PHPhotosErrorDomain";
// The platform's codes for a change.
constexpr std::int64_t internalError = -1;
constexpr std::int64_t changeNotSupported = 3300;
constexpr std::int64_t invalidResource = 3302;
constexpr std::int64_t accessUserDenied = 3311;

/// An error that the platform's stock sentence describes.
NSError plainError(std::int64_t code) {
  return {std::string(errorDomain), code, {}};
}

NSError errorOf(const StoreError& error) {
  if (error.kind == StoreError::Kind::invalidResource) return plainError(invalidResource);
  NSError result = plainError(internalError);
  result.userInfo.emplace(NSLocalizedDescriptionKey, error.message);
  return result;
}

bool allows(PHAuthorizationStatus status) {
  return status == PHAuthorizationStatus::authorized || status == PHAuthorizationStatus::limited;
}

}  // namespace

std::string referenceURLText(const StoredAsset& asset) {
  return assetAddress(asset.record().identifier, asset.record().fileExtension);
}

class PhotoLibrary::Request : public PHAssetCreationRequest {
 public:
  explicit Request(std::string identifier) : identifier_(std::move(identifier)) {}

  void addResource(PHAssetResourceType type, const Data& data,
                   const PHAssetResourceCreationOptions&) override {
    resources_.emplace_back(type, data);
  }
  void addResource(PHAssetResourceType type, const URL& fileURL,
                   const PHAssetResourceCreationOptions&) override {
    // What names no file is refused when it is read, as a file that is not there.
    resources_.emplace_back(type,
                            std::filesystem::path(foundation::filePathOf(fileURL).value_or("")));
  }
  std::optional<std::string> placeholderLocalIdentifier() const override { return identifier_; }

  bool isEmpty() const { return resources_.empty(); }
  /// Nothing where the request does not have exactly one resource.
  std::optional<NewAsset> asset(Date created) const {
    if (resources_.size() != 1) return std::nullopt;
    const auto& [type, content] = resources_.front();
    return NewAsset{identifier_, type, content, created};
  }

 private:
  const std::string identifier_;
  std::vector<std::pair<PHAssetResourceType, AssetContent>> resources_;
};

/// What one change asks for.
class PhotoLibrary::Change : public PHAssetChanges {
 public:
  explicit Change(LibraryStore& store) : store_(store) {}

  PHAssetCreationRequest& creationRequestForAsset() override {
    requests_.push_back(std::make_unique<Request>(store_.newIdentifier()));
    return *requests_.back();
  }
  const std::vector<std::unique_ptr<Request>>& requests() const { return requests_; }

 private:
  LibraryStore& store_;
  std::vector<std::unique_ptr<Request>> requests_;
};

PhotoLibrary::PhotoLibrary(LibraryStore& store, const NSClock& clock, Executor& queue,
                           PhotoAuthorization& authorization, Observer observer)
    : store_(store),
      clock_(clock),
      queue_(queue),
      authorization_(authorization),
      observer_(std::move(observer)) {}

PHAuthorizationStatus PhotoLibrary::authorizationStatus() {
  return authorization_.status();
}

void PhotoLibrary::requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) {
  authorization_.request(std::move(handler));
}

void PhotoLibrary::performChanges(ChangeBlock changes, CompletionHandler completion) {
  queue_.post([this, changes = std::move(changes), completion = std::move(completion)] {
    const PHAuthorizationStatus status = authorization_.status();
    if (status != PHAuthorizationStatus::notDetermined) {
      runIfAllowed(status, changes, completion);
      return;
    }
    authorization_.request([this, changes, completion](PHAuthorizationStatus answered) {
      queue_.post(
          [this, answered, changes, completion] { runIfAllowed(answered, changes, completion); });
    });
  });
}

void PhotoLibrary::runIfAllowed(PHAuthorizationStatus status, const ChangeBlock& changes,
                                const CompletionHandler& completion) {
  if (!allows(status)) {
    completion(false, plainError(accessUserDenied));
    return;
  }
  Change change(store_);
  changes(change);
  const auto committed = commit(change);
  if (!committed) return completion(false, committed.error());
  completion(true, std::nullopt);
}

Result<void, NSError> PhotoLibrary::commit(const Change& change) {
  const Date created = clock_.now();
  std::vector<NewAsset> assets;
  for (const auto& request : change.requests()) {
    if (request->isEmpty()) continue;
    auto asset = request->asset(created);
    if (!asset) return Failure(plainError(changeNotSupported));
    assets.push_back(*std::move(asset));
  }
  const auto added = store_.add(assets);
  if (!added) return Failure(errorOf(added.error()));
  if (!observer_) return {};
  for (const AssetRecord& record : *added) {
    const bool isPhoto = record.type == PHAssetResourceType::photo;
    observer_(
        {record.identifier, isPhoto ? "photo" : "video", record.byteCount, formatName(record)});
  }
  return {};
}

std::vector<std::shared_ptr<PHAsset>> PhotoLibrary::fetchAssetsWithALAssetURLs(
    const std::vector<URL>& urls, const PHFetchOptions&) {
  std::vector<std::shared_ptr<PHAsset>> assets;
  if (!allows(authorization_.status())) return assets;
  for (const URL& url : urls) {
    if (auto record = store_.fetchByAddress(url.absoluteString())) {
      assets.push_back(std::make_shared<StoredAsset>(*std::move(record)));
    }
  }
  return assets;
}

std::shared_ptr<StoredAsset> PhotoLibrary::assetWithIdentifier(std::string_view identifier) {
  auto record = store_.fetchByIdentifier(identifier);
  return record ? std::make_shared<StoredAsset>(*std::move(record)) : nullptr;
}

ImageManager::ImageManager(LibraryStore& store, Executor& queue, PhotoAuthorization& authorization)
    : store_(store), queue_(queue), authorization_(authorization) {}

void ImageManager::requestImageDataAndOrientationForAsset(
    const std::shared_ptr<PHAsset>& asset, const std::optional<PHImageRequestOptions>&,
    ResultHandler handler) {
  queue_.post([this, asset, handler = std::move(handler)] { handOut(asset, handler); });
}

void ImageManager::handOut(const std::shared_ptr<PHAsset>& asset, const ResultHandler& handler) {
  const auto refuse = [&handler](const std::string& reason) {
    handler(std::nullopt, std::nullopt, 1, Dictionary{{"PHImageErrorKey", reason}});
  };
  if (!asset) return refuse("There is no asset");
  if (!allows(authorization_.status())) return refuse("The photo library may not be read");
  const auto record = store_.fetchByIdentifier(asset->localIdentifier());
  if (!record) return refuse(record.error().message);
  auto data = store_.readOriginal(asset->localIdentifier());
  if (!data) return refuse(data.error().message);
  handler(*std::move(data), record->typeIdentifier, record->orientation, Dictionary{});
}

}  // namespace vecamera::device::photos
