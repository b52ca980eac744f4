#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Value.h"
#include "VECamera/runtime/Executor.h"
#include "VECamera/runtime/Task.h"

namespace vecamera {

/// With the platform's raw values; a platform may report others.
enum class PHAuthorizationStatus {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorized = 3,
  limited = 4,
};

enum class PHAssetResourceType { photo = 1, video = 2 };

/// The platform's defaults; the plug-in changes nothing in them.
struct PHAssetResourceCreationOptions {};
struct PHFetchOptions {};
struct PHImageRequestOptions {};

/// One picture or movie in the photo library.
class PHAsset : public Object {
 public:
  virtual std::string localIdentifier() const = 0;
};

/// A request for a new asset. Lives inside one change block.
class PHAssetCreationRequest {
 public:
  virtual ~PHAssetCreationRequest() = default;
  virtual void addResource(PHAssetResourceType type, const Data& data,
                           const PHAssetResourceCreationOptions& options) = 0;
  /// The same with a file's contents, read when the change is committed. The file stays.
  virtual void addResource(PHAssetResourceType type, const URL& fileURL,
                           const PHAssetResourceCreationOptions& options) = 0;
  /// The identifier that the asset will have, or nothing where the library gives no placeholder.
  virtual std::optional<std::string> placeholderLocalIdentifier() const = 0;
};

/// What a change block changes the library with. Lives for the block's run, and is used on its
/// thread.
class PHAssetChanges {
 public:
  virtual ~PHAssetChanges() = default;
  /// A request for a new asset, owned by the change.
  virtual PHAssetCreationRequest& creationRequestForAsset() = 0;
};

/// The shared photo library. Its authorization is that of the platform's operations without an
/// access level, which report limited access as authorized. A platform that reports `limited`
/// instead is given no picker, and the command stays open.
class PHPhotoLibrary {
 public:
  using ChangeBlock = std::function<void(PHAssetChanges&)>;
  using CompletionHandler = std::function<void(bool success, std::optional<NSError> error)>;

  virtual ~PHPhotoLibrary() = default;
  /// Any executor.
  virtual PHAuthorizationStatus authorizationStatus() = 0;
  /// Asks the user where that is not decided yet. The handler runs once, on a thread of the
  /// platform's choosing, never before this call returns.
  virtual void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) = 0;
  /// Runs the block on the library's own queue, commits what it asked for as one change, and then
  /// runs the handler once, on a queue of the library's choosing. Neither runs before this call
  /// returns. On failure nothing of the change remains.
  virtual void performChanges(ChangeBlock changes, CompletionHandler completion) = 0;
  /// The assets behind addresses of the form "assets-library://asset/asset.EXT?id=UUID&ext=EXT";
  /// unknown ones are left out. Any executor.
  virtual std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(
      const std::vector<URL>& urls, const PHFetchOptions& options) = 0;
};

/// The EXIF orientation of an asset's picture, 1 to 8.
using CGImagePropertyOrientation = std::uint32_t;

/// The default image manager.
class PHImageManager {
 public:
  using ResultHandler =
      std::function<void(std::optional<Data> data, std::optional<std::string> dataUTI,
                         CGImagePropertyOrientation orientation, std::optional<Dictionary> info)>;

  virtual ~PHImageManager() = default;
  /// Fetches the asset's bytes and runs the handler once, on a queue of the platform's choosing,
  /// never before this call returns.
  virtual void requestImageDataAndOrientationForAsset(
      const std::shared_ptr<PHAsset>& asset, const std::optional<PHImageRequestOptions>& options,
      ResultHandler handler) = 0;
};

/// The bytes of a library asset.
struct PHImageData {
  Data data;
  std::optional<std::string> dataUTI;
  CGImagePropertyOrientation orientation = 1;
  std::optional<Dictionary> info;
};

/// Awaitable `performChanges`: gives the platform's success flag, or throws `NSErrorException` when
/// the platform reports an error, whatever the flag says. The waiter resumes on `resumeOn`. It does
/// not react to cancellation.
Task<bool> performChangesAsync(PHPhotoLibrary& library, Executor& resumeOn,
                               PHPhotoLibrary::ChangeBlock changes);

/// Awaitable `requestImageDataAndOrientation`: gives the handler's values unchanged, or throws
/// `NSErrorException` (domain "PHImageManagerError", code 0) when there are no bytes. The waiter
/// resumes on `resumeOn`. It does not react to cancellation.
Task<PHImageData> requestImageDataAndOrientationAsync(PHImageManager& manager, Executor& resumeOn,
                                                      std::shared_ptr<PHAsset> asset,
                                                      std::optional<PHImageRequestOptions> options);

}  // namespace vecamera
