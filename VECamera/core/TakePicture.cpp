#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/permissions/DeniedPermissionAlert.h"

namespace vecamera {
namespace {

constexpr std::string_view noCamera = "Not have permission to use the camera.";

void refuse(const std::shared_ptr<CallBackManager>& callback, std::string_view message) {
  if (callback) callback->error(CommandStatus::NO_PERMISSION, std::string(message), false);
}

}  // namespace

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
  // The log is the platform's and outlives the plug-in, which may be gone when this runs.
  const auto onDecided = [weakSelf = weak_from_this(), &log = platform_.log, options,
                          callback](PHAuthorizationStatus status) {
    if (status == PHAuthorizationStatus::restricted || status == PHAuthorizationStatus::denied) {
      log.debug("PHAuthorization denied or restricted");
      refuse(callback, "has no access to PhotoLibrary");
    } else if (status == PHAuthorizationStatus::authorized) {
      log.debug("PHAuthorization Authorized");
      if (const auto self = weakSelf.lock()) self->addCameraVC(options);
    }
  };
  switch (platform_.photoLibrary.authorizationStatus()) {
    case PHAuthorizationStatus::restricted:
    case PHAuthorizationStatus::denied:
      if (!cameraDelegate_) {
        retryPermission();
        return;
      }
      cameraDelegate_->photoLibraryPermissionDeny();
      platform_.log.debug("NO_PERMISSION");
      refuse(callback, "has no access to PhotoLibrary");
      return;
    case PHAuthorizationStatus::authorized: addCameraVC(options); return;
    case PHAuthorizationStatus::notDetermined:
      platform_.mainQueue.post([weakSelf = weak_from_this(), onDecided] {
        if (const auto self = weakSelf.lock())
          self->platform_.photoLibrary.requestAuthorization(onDecided);
      });
      return;
    // Settled: limited access leaves the command open.
    case PHAuthorizationStatus::limited: return;
  }
}

void VECameraPlugin::addCameraVC(const std::shared_ptr<PictureOptions>& options) {
  if (options->sourceType == UIImagePickerControllerSourceType::camera &&
      options->mediaType == MediaType::mediaTypeAll) {
    if (const auto callback = currentCallBack_.load())
      callback->error(CommandStatus::INVALID_PARAM, "Not supported mediaType", false);
    return;
  }
  const auto picker = std::make_shared<CameraPicker>();
  picker->setup(options, platform_.imagePickers, platform_.process);
  picker->setDelegate(weak_from_this());
  picker->setModalPresentationStyle(UIModalPresentationStyle::fullScreen);
  pickerController_.store(picker);
  platform_.mainQueue.post([self = shared_from_this(), picker] {
    if (const auto controller = self->viewController_.load())
      controller->presentViewController(picker, true,
                                        [self] { self->hasPendingOperation_ = false; });
  });
}

// Settled: the two alerts differ in more than their texts. The camera's Settings action answers
// nothing, the photo library's answers with the camera's text. Only the camera's Cancel action
// returns the plug-in to idle. The camera's alert keeps the view controller that the plug-in has
// when the alert is made; the photo library's looks for one when it is presented.

void VECameraPlugin::showDenyCameraPermission() {
  const auto onCancel = [weakSelf = weak_from_this()] {
    const auto self = weakSelf.lock();
    if (!self) return;
    refuse(self->currentCallBack_.load(), noCamera);
    self->resetToIdle();
  };
  const auto alert = deniedPermissionAlert(
      platform_, "CAMERA_PERMISSION_REJECT_CONFIRM", [] {}, onCancel);
  if (cameraDelegate_) {
    refuse(currentCallBack_.load(), noCamera);
    cameraDelegate_->cameraPermissionDeny();
  } else if (const auto controller = viewController_.load()) {
    platform_.mainQueue.post(
        [controller, alert] { controller->presentViewController(alert, true, nullptr); });
  }
}

void VECameraPlugin::retryPermission() {
  const auto refuseWith = [weakSelf = weak_from_this()](std::string_view message) {
    return [weakSelf, message] {
      if (const auto self = weakSelf.lock()) refuse(self->currentCallBack_.load(), message);
    };
  };
  const auto alert =
      deniedPermissionAlert(platform_, "PHOTOLIBRARY_PERMISSION_REJECT_CONFIRM",
                            refuseWith(noCamera), refuseWith("has no access to PhotoLibrary."));
  platform_.mainQueue.post([weakSelf = weak_from_this(), alert] {
    const auto self = weakSelf.lock();
    if (const auto controller = self ? self->viewController_.load() : nullptr)
      controller->presentViewController(alert, true, nullptr);
  });
}

}  // namespace vecamera
