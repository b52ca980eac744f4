#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

void VECameraPlugin::takePicture(std::shared_ptr<CallBackManager> callback) {
  platform_.mainQueue.post([self = shared_from_this(), callback = std::move(callback)] {
    self->startCapture(callback);
  });
}

void VECameraPlugin::startCapture(const std::shared_ptr<CallBackManager>& callback) {
  using Source = UIImagePickerControllerSourceType;
  hasPendingOperation_ = true;
  currentCallBack_.store(callback);
  const auto options = PictureOptions::createFromTakePictureArguments(*callback);
  options->cropToSize = false;

  const auto source = options->sourceType.value_or(Source::camera);
  if (!platform_.imagePickers.isSourceTypeAvailable(source)) {
    platform_.log.error(
        "", "Camera.getPicture: source type " + std::to_string(source) + " not available.",
        pluginSourceFile, 121, "takePicture(_:)");
    callback->error(CommandStatus::OBJECT_REFERENCE_FAILED, "Camera disabled device", false);
    return;
  }
  if (source == Source::camera)
    startCamera(options);
  else if (source == Source::photoLibrary || source == Source::savedPhotosAlbum)
    startLibrary(options, callback);
  // Settled: any other source that the device offers leaves the command open.
}

void VECameraPlugin::startCamera(const std::shared_ptr<PictureOptions>& options) {
  switch (platform_.captureDevice.authorizationStatusForMediaType(AVMediaTypeVideo)) {
    case AVAuthorizationStatus::restricted:
    case AVAuthorizationStatus::denied: showDenyCameraPermission(); return;
    case AVAuthorizationStatus::notDetermined:
      platform_.captureDevice.requestAccessForMediaType(
          AVMediaTypeVideo, [weakSelf = weak_from_this(), options](bool granted) {
            const auto self = weakSelf.lock();
            if (!self) return;
            if (granted)
              self->addCameraVC(options);
            else
              self->showDenyCameraPermission();
          });
      return;
    case AVAuthorizationStatus::authorized: addCameraVC(options); return;
  }
}

void VECameraPlugin::startLibrary(const std::shared_ptr<PictureOptions>& options,
                                  const std::shared_ptr<CallBackManager>& callback) {
  switch (platform_.photoLibrary.authorizationStatus()) {
    case PHAuthorizationStatus::restricted:
    case PHAuthorizationStatus::denied:
      if (!cameraDelegate_) {
        retryPermission();
        return;
      }
      cameraDelegate_->photoLibraryPermissionDeny();
      platform_.log.debug("NO_PERMISSION");
      callback->error(CommandStatus::NO_PERMISSION, "has no access to PhotoLibrary", false);
      return;
    case PHAuthorizationStatus::authorized: addCameraVC(options); return;
    case PHAuthorizationStatus::notDetermined:
      platform_.mainQueue.post([self = shared_from_this(), options, callback] {
        self->requestLibraryAccess(options, callback);
      });
      return;
    // Settled: limited access leaves the command open.
    case PHAuthorizationStatus::limited: return;
  }
}

void VECameraPlugin::requestLibraryAccess(std::shared_ptr<PictureOptions> options,
                                          std::shared_ptr<CallBackManager> callback) {
  platform_.photoLibrary.requestAuthorization(
      // The log is the platform's and outlives the plug-in, which may be gone when this runs.
      [weakSelf = weak_from_this(), &log = platform_.log, options = std::move(options),
       callback = std::move(callback)](PHAuthorizationStatus status) {
        if (status == PHAuthorizationStatus::restricted ||
            status == PHAuthorizationStatus::denied) {
          log.debug("PHAuthorization denied or restricted");
          callback->error(CommandStatus::NO_PERMISSION, "has no access to PhotoLibrary", false);
        } else if (status == PHAuthorizationStatus::authorized) {
          log.debug("PHAuthorization Authorized");
          if (const auto self = weakSelf.lock()) self->addCameraVC(options);
        }
      });
}

}  // namespace vecamera
