#include "VECamera/platform/Photos.h"

#include "VECamera/runtime/Continuation.h"

namespace vecamera {

Task<bool> performChangesAsync(PHPhotoLibrary& library, Executor& resumeOn,
                               PHPhotoLibrary::ChangeBlock changes) {
  auto start = [&library, &changes](Continuation<bool> waiter) {
    library.performChanges(
        std::move(changes), [waiter](bool success, std::optional<NSError> error) {
          if (error)
            waiter.resumeThrowing(std::make_exception_ptr(NSErrorException(*std::move(error))));
          else
            waiter.resume(success);
        });
  };
  const bool success =
      co_await suspendUntilResumed<bool>("performChangesAsync(_:)", resumeOn, std::move(start));
  co_return success;
}

Task<PHImageData> requestImageDataAndOrientationAsync(
    PHImageManager& manager, Executor& resumeOn, std::shared_ptr<PHAsset> asset,
    std::optional<PHImageRequestOptions> options) {
  auto start = [&manager, &asset, &options](Continuation<PHImageData> waiter) {
    manager.requestImageDataAndOrientationForAsset(
        asset, options,
        [waiter](std::optional<Data> data, std::optional<std::string> dataUTI,
                 CGImagePropertyOrientation orientation, std::optional<Dictionary> info) {
          if (data) {
            waiter.resume(
                PHImageData{*std::move(data), std::move(dataUTI), orientation, std::move(info)});
            return;
          }
          NSError error{"PHImageManagerError", 0, {}};
          error.userInfo.emplace(NSLocalizedDescriptionKey, "Failed to fetch image data");
          waiter.resumeThrowing(std::make_exception_ptr(NSErrorException(std::move(error))));
        });
  };
  PHImageData result = co_await suspendUntilResumed<PHImageData>(
      "requestImageDataAndOrientationAsync(for:options:)", resumeOn, std::move(start));
  co_return result;
}

}  // namespace vecamera
