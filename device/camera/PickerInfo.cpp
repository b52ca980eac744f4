#include "device/camera/PickerInfo.h"

#include "device/imaging/platform/ImageOperations.h"

namespace vecamera::device::camera {

Dictionary pictureInfo(UIImages& images, const Data& picture, const PickerEdit& edit) {
  Dictionary info;
  info.emplace(UIImagePickerControllerMediaType, std::string(kUTTypeImage));
  const auto original = images.imageWithData(picture);
  if (!original) return info;
  info.emplace(UIImagePickerControllerOriginalImage, original);
  if (!edit.crop) return info;
  if (const auto edited = imaging::croppedUpright(original, *edit.crop)) {
    const CGRect& crop = *edit.crop;
    info.emplace(UIImagePickerControllerEditedImage, edited);
    info.emplace(UIImagePickerControllerCropRect, Array{crop.x, crop.y, crop.width, crop.height});
  }
  return info;
}

Dictionary movieInfo(const URL& movie) {
  Dictionary info;
  info.emplace(UIImagePickerControllerMediaType, std::string(kUTTypeMovie));
  info.emplace(UIImagePickerControllerMediaURL, movie);
  return info;
}

}  // namespace vecamera::device::camera
