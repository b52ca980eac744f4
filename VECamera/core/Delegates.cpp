#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/location/GpsDictionary.h"

namespace vecamera {
namespace {

void answer(const std::shared_ptr<CallBackManager>& callback, ResultPair result) {
  if (!callback) return;
  auto payload = std::move(result.payload).value_or(Dictionary());
  if (result.status)
    callback->error(*result.status, std::move(payload), false);
  else
    callback->success(std::move(payload), false);
}

std::string cancelMessage(const Platform& platform, const UIImagePickerController& picker) {
  if (picker.sourceType() == UIImagePickerControllerSourceType::camera) {
    if (platform.captureDevice.authorizationStatusForMediaType(AVMediaTypeVideo) !=
        AVAuthorizationStatus::authorized)
      return "has no access to camera";
  } else if (platform.photoLibrary.authorizationStatus() != PHAuthorizationStatus::authorized) {
    return "has no access to assets";
  }
  return "no image selected";
}

}  // namespace

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
  // Held to the end of the task: what is awaited below refers to the plug-in.
  const auto self = weakSelf.lock();
  if (!self) co_return;
  const auto options = std::static_pointer_cast<CameraPicker>(picker)->pictureOptions();
  const Value* mediaType = find(info, UIImagePickerControllerMediaType);
  // Settled: a picture whose picker has no options is handled as a movie.
  const bool isPicture =
      options && mediaType && mediaType->text() && *mediaType->text() == kUTTypeImage;

  ResultPair result;
  if (isPicture)
    result = co_await resultForImage(self->resultContext(), options, std::move(info));
  else
    result = co_await resultForVideo(self->resultContext(), options, std::move(info));
  co_await resumeOn(self->platform_.mainActor);
  // A camera photo is held back; the location update answers it.
  if (isPicture && self->usesGeolocation() &&
      picker->sourceType() == UIImagePickerControllerSourceType::camera)
    co_return;
  answer(self->currentCallBack_.load(), std::move(result));
  self->resetToIdle();
}

void VECameraPlugin::imagePickerControllerDidCancel(
    std::shared_ptr<UIImagePickerController> picker) {
  platform_.mainQueue.post([self = shared_from_this(), picker = std::move(picker)] {
    const auto presenting = picker ? picker->presentingViewController() : nullptr;
    if (!presenting) return;
    presenting->dismissViewControllerAnimated(true, [self, picker] {
      answer(self->currentCallBack_.load(),
             {CommandStatus::NO_PERMISSION,
              Dictionary{{"errorMsg", cancelMessage(self->platform_, *picker)}}});
      self->resetToIdle();
    });
  });
}

void VECameraPlugin::locationManagerDidUpdateLocations(
    const std::shared_ptr<CLLocationManager>& /*manager*/,
    const std::vector<CLLocation>& /*locations*/) {
  const auto manager = locationManager_.load();
  if (!manager) return;
  manager->stopUpdatingLocation();
  locationManager_.store(nullptr);
  auto gps = gpsDictionary(*manager, platform_.dateFormatters, platform_.process);
  if (const auto metadata = heldBackPhoto_.metadata.load()) {
    Dictionary merged = *metadata;
    merged[std::string(kCGImagePropertyGPSDictionary)] = std::move(gps);
    heldBackPhoto_.metadata.store(std::make_shared<const Dictionary>(std::move(merged)));
  }
  imagePickerControllerReturnImageResult();
}

void VECameraPlugin::imagePickerControllerReturnImageResult() {
  const auto picker = pickerController_.load();
  const auto options = picker ? picker->pictureOptions() : nullptr;
  if (auto result = heldBackResult(resultContext(), options.get()))
    answer(currentCallBack_.load(), *std::move(result));
  resetToIdle();
  heldBackPhoto_.data.store(nullptr);
  heldBackPhoto_.metadata.store(nullptr);
  // Settled: the photo is gone by now, so nothing reaches the photo library from this operation.
  if (options) saveHeldBackPhoto(resultContext(), *options);
}

ResultContext VECameraPlugin::resultContext() {
  return {platform_, heldBackPhoto_, [this](const URL& url) { return urlTransformer(url); },
          [this](std::string_view extension) { return tempFilePath(extension); },
          [this] { return locationManager(); }};
}

void VECameraPlugin::resetToIdle() {
  hasPendingOperation_ = false;
  pickerController_.store(nullptr);
}

}  // namespace vecamera
