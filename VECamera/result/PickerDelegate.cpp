#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

void VECameraPlugin::imagePickerControllerDidFinishPickingMediaWithInfo(
    std::shared_ptr<UIImagePickerController> picker, Dictionary info) {
  platform_.mainQueue.post(
      [self = shared_from_this(), picker = std::move(picker), info = std::move(info)] {
        if (!std::dynamic_pointer_cast<CameraPicker>(picker)) return;
        const auto presenting = picker->presentingViewController();
        if (!presenting) return;
        // The scope and the main actor are the platform's and outlive the plug-in.
        presenting->dismissViewControllerAnimated(
            true, [weakSelf = std::weak_ptr(self), &tasks = self->platform_.tasks,
                   &mainActor = self->platform_.mainActor, picker,
                   info] { tasks.start(mainActor, finishPicking(weakSelf, picker, info)); });
      });
}

Task<void> VECameraPlugin::finishPicking(std::weak_ptr<VECameraPlugin> weakSelf,
                                         std::shared_ptr<UIImagePickerController> picker,
                                         Dictionary info) {
  const auto self = weakSelf.lock();
  if (!self) co_return;
  Executor& mainActor = self->platform_.mainActor;
  const auto options = std::static_pointer_cast<CameraPicker>(picker)->pictureOptions();
  const Value* mediaType = find(info, UIImagePickerControllerMediaType);
  const bool isImage = mediaType && mediaType->text() && *mediaType->text() == kUTTypeImage;

  ResultPair result;
  if (isImage && options) {
    result = co_await resultForImage(self, options, std::move(info));
    co_await resumeOn(mainActor);
    // The photo is held back; the location update answers it.
    if (self->usesGeolocation() &&
        picker->sourceType() == UIImagePickerControllerSourceType::camera)
      co_return;
  } else {
    // Settled: a picture whose picker has no options goes this way too.
    result = co_await resultForVideo(self, options, std::move(info));
    co_await resumeOn(mainActor);
  }
  self->answer(std::move(result));
  self->resetToIdle();
}

void VECameraPlugin::imagePickerControllerDidCancel(
    std::shared_ptr<UIImagePickerController> picker) {
  platform_.mainQueue.post([self = shared_from_this(), picker = std::move(picker)] {
    const auto presenting = picker ? picker->presentingViewController() : nullptr;
    if (!presenting) return;
    presenting->dismissViewControllerAnimated(true, [self, picker] {
      self->answerCancel(*picker);
      self->resetToIdle();
    });
  });
}

void VECameraPlugin::answerCancel(const UIImagePickerController& picker) {
  const bool isCamera = picker.sourceType() == UIImagePickerControllerSourceType::camera;
  std::string message = "no image selected";
  if (isCamera) {
    if (platform_.captureDevice.authorizationStatusForMediaType(AVMediaTypeVideo) !=
        AVAuthorizationStatus::authorized)
      message = "has no access to camera";
  } else if (platform_.photoLibrary.authorizationStatus() != PHAuthorizationStatus::authorized) {
    message = "has no access to assets";
  }
  if (const auto callback = currentCallBack_.load())
    callback->error(CommandStatus::NO_PERMISSION, Dictionary{{"errorMsg", message}}, false);
}

void VECameraPlugin::answer(ResultPair result) {
  const auto callback = currentCallBack_.load();
  if (!callback) return;
  auto payload = std::move(result.payload).value_or(Dictionary());
  if (result.status)
    callback->error(*result.status, std::move(payload), false);
  else
    callback->success(std::move(payload), false);
}

void VECameraPlugin::resetToIdle() {
  hasPendingOperation_ = false;
  pickerController_.store(nullptr);
}

}  // namespace vecamera
