#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

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

}  // namespace vecamera
