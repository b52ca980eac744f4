#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/runtime/Executor.h"
#include "device/photos/LibraryStore.h"

namespace vecamera::device::photos {

/// What the user lets the application do with the photo library.
class PhotoAuthorization {
 public:
  virtual ~PhotoAuthorization() = default;
  /// Any thread.
  virtual PHAuthorizationStatus status() = 0;
  /// Asks the user where that is not decided yet. Any thread. The handler runs at most once, on any
  /// thread, never before this call returns; not at all where the user never answers.
  virtual void request(std::function<void(PHAuthorizationStatus)> handler) = 0;
};

/// An asset as it was when it was fetched.
class StoredAsset final : public PHAsset {
 public:
  explicit StoredAsset(AssetRecord record) : record_(std::move(record)) {}
  std::string localIdentifier() const override { return record_.identifier; }
  const AssetRecord& record() const { return record_; }

 private:
  const AssetRecord record_;
};

/// "assets-library://asset/asset.JPG?id=A1B2&ext=JPG" for the asset "A1B2/L0/001".
std::string referenceURLText(const StoredAsset& asset);

/// An asset that a change has just brought into the library.
struct SavedAsset {
  std::string id;
  /// "photo" or "video".
  std::string type;
  std::uint64_t bytes = 0;
  /// As `formatName` gives it.
  std::string format;
};

/// The photo library over a store. Each asset has one resource; a request without a resource is
/// ignored. Reading and changing need the status authorized or limited. Where the user has not
/// decided yet, a change asks first.
///
/// Change blocks and handlers run on the queue; the library outlives the jobs that it posts there,
/// and its arguments outlive the library.
///
/// Errors are of the domain "PHPhotosErrorDomain": 3300 for a request with several
/// resources, 3302 for bytes that are no picture or movie and for a path that leads to no readable
/// file, 3311 for a library that may not be changed, and -1, with a description, where the store
/// fails.
class PhotoLibrary : public PHPhotoLibrary {
 public:
  /// Called on the queue for each new asset, after its change is committed and before the change's
  /// handler runs.
  using Observer = std::function<void(const SavedAsset&)>;

  PhotoLibrary(LibraryStore& store, const NSClock& clock, Executor& queue,
               PhotoAuthorization& authorization, Observer observer = nullptr);

  PHAuthorizationStatus authorizationStatus() override;
  void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) override;
  void performChanges(ChangeBlock changes, CompletionHandler completion) override;
  std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<URL>& urls, const PHFetchOptions& options) override;

  /// The asset, for the device itself, whatever the authorization; null where it is unknown.
  /// Any thread.
  std::shared_ptr<StoredAsset> assetWithIdentifier(std::string_view identifier);

 private:
  class Request;
  class Change;

  void runIfAllowed(PHAuthorizationStatus status, const ChangeBlock& changes,
                    const CompletionHandler& completion);
  Result<void, NSError> commit(const Change& change);

  LibraryStore& store_;
  const NSClock& clock_;
  Executor& queue_;
  PhotoAuthorization& authorization_;
  const Observer observer_;
};

/// The image manager over a store. Without permission, for an unknown asset and for one whose file
/// is missing or damaged, the handler gets no data; the information then has the reason, as text
/// under "PHImageErrorKey". Handlers run on the queue; the manager outlives the jobs that it posts
/// there.
class ImageManager : public PHImageManager {
 public:
  ImageManager(LibraryStore& store, Executor& queue, PhotoAuthorization& authorization);

  void requestImageDataAndOrientationForAsset(const std::shared_ptr<PHAsset>& asset,
                                              const std::optional<PHImageRequestOptions>& options,
                                              ResultHandler handler) override;

 private:
  void handOut(const std::shared_ptr<PHAsset>& asset, const ResultHandler& handler);

  LibraryStore& store_;
  Executor& queue_;
  PhotoAuthorization& authorization_;
};

}  // namespace vecamera::device::photos
