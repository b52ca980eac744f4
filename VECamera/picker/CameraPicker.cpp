#include "VECamera/picker/CameraPicker.h"

namespace vecamera {

void CameraPicker::setup(std::shared_ptr<PictureOptions> options,
                         UIImagePickerControllerClass& imagePickers, NSProcess& process) {
  using Source = UIImagePickerControllerSourceType;
  pictureOptions_ = std::move(options);
  const PictureOptions& requested = *pictureOptions_;
  setSourceType(requested.sourceType.value_or(Source::camera));
  setAllowsEditing(requested.allowsEditing);
  const auto direction =
      requested.cameraDirection.value_or(UIImagePickerControllerCameraDevice::rear);
  process.print("cameraDirection " + std::to_string(direction));

  const std::vector<std::string> images{std::string(kUTTypeImage)};
  if (sourceType() == Source::camera) {
    if (requested.mediaType == MediaType::mediaTypeVideo) {
      // Settled: the camera's movies have another type identifier than the library's, and the
      // requested camera is not applied to them.
      setMediaTypes({std::string(kUTTypeMovie)});
      setCameraCaptureMode(UIImagePickerControllerCameraCaptureMode::video);
    } else {
      setMediaTypes(images);
      setCameraDevice(direction);
    }
    return;
  }
  if (requested.mediaType == MediaType::mediaTypeVideo)
    setMediaTypes({std::string(kUTTypeVideo)});
  else if (requested.mediaType == MediaType::mediaTypePicture)
    setMediaTypes(images);
  else
    setMediaTypes(imagePickers.availableMediaTypesForSourceType(sourceType()).value_or(images));
}

void CameraPicker::viewWillAppear(bool animated) {
  setNeedsStatusBarAppearanceUpdate();
  UIImagePickerController::viewWillAppear(animated);
}

}  // namespace vecamera
