#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {
namespace {

constexpr std::string_view noCamera = "Not have permission to use the camera.";

}  // namespace

// The two alerts differ in more than their texts, and each difference is settled: the camera's
// Settings action answers nothing, the photo library's answers with the camera's text; only the
// camera's Cancel action returns the plug-in to idle.

void VECameraPlugin::showDenyCameraPermission() {
  const auto message = getLocalizingString("CAMERA_PERMISSION_REJECT_CONFIRM");
  const auto settings = getLocalizingString("SETTINGS");
  const auto cancel = getLocalizingString("CANCEL");
  if (cameraDelegate_) {
    if (const auto callback = currentCallBack_.load())
      callback->error(CommandStatus::NO_PERMISSION, std::string(noCamera), false);
    cameraDelegate_->cameraPermissionDeny();
    return;
  }

  auto alert = std::make_shared<UIAlertController>("", message, UIAlertControllerStyle::alert);
  alert->addAction({settings, UIAlertActionStyle::defaultStyle,
                    [&application = platform_.application](const auto& shown) {
                      shown->dismissViewControllerAnimated(true, nullptr);
                      if (const auto url = application.openSettingsURL()) application.openURL(*url);
                    }});
  alert->addAction(
      {cancel, UIAlertActionStyle::defaultStyle, [weakSelf = weak_from_this()](const auto& shown) {
         shown->dismissViewControllerAnimated(true, nullptr);
         const auto self = weakSelf.lock();
         if (!self) return;
         if (const auto callback = self->currentCallBack_.load())
           callback->error(CommandStatus::NO_PERMISSION, std::string(noCamera), false);
         self->resetToIdle();
       }});
  if (auto controller = viewController_.load()) {
    platform_.mainQueue.post([controller = std::move(controller), alert = std::move(alert)] {
      controller->presentViewController(alert, true, nullptr);
    });
  }
}

void VECameraPlugin::retryPermission() {
  const auto message = getLocalizingString("PHOTOLIBRARY_PERMISSION_REJECT_CONFIRM");
  const auto settings = getLocalizingString("SETTINGS");
  const auto cancel = getLocalizingString("CANCEL");

  const auto answerNoPermission = [weakSelf = weak_from_this()](std::string_view text) {
    const auto self = weakSelf.lock();
    if (!self) return;
    if (const auto callback = self->currentCallBack_.load())
      callback->error(CommandStatus::NO_PERMISSION, std::string(text), false);
  };
  auto alert = std::make_shared<UIAlertController>("", message, UIAlertControllerStyle::alert);
  alert->addAction({settings, UIAlertActionStyle::defaultStyle,
                    [&application = platform_.application, answerNoPermission](const auto& shown) {
                      shown->dismissViewControllerAnimated(true, nullptr);
                      const auto url = application.openSettingsURL();
                      if (!url) return;
                      application.openURL(*url);
                      answerNoPermission(noCamera);
                    }});
  alert->addAction(
      {cancel, UIAlertActionStyle::defaultStyle, [answerNoPermission](const auto& shown) {
         shown->dismissViewControllerAnimated(true, nullptr);
         answerNoPermission("has no access to PhotoLibrary.");
       }});
  platform_.mainQueue.post([self = shared_from_this(), alert = std::move(alert)] {
    if (const auto controller = self->viewController_.load())
      controller->presentViewController(alert, true, nullptr);
  });
}

}  // namespace vecamera
