#include "device/camera/StillCamera.h"

#include "device/camera/TestScene.h"
#include "device/imaging/metadata/Metadata.h"

namespace vecamera::device::camera {

void StillCamera::pointAt(std::int64_t cameraDevice, Data picture) {
  pictures_.insert_or_assign(cameraDevice, std::move(picture));
}

Data StillCamera::view(std::int64_t cameraDevice) const {
  const auto found = pictures_.find(cameraDevice);
  if (found != pictures_.end()) return found->second;
  // Stored on its side, as a phone that is held upright stores it. Each camera has its own seed.
  const auto seed = static_cast<std::uint32_t>(cameraDevice + 1);
  return generateTestScene(1024, 768, UIImageOrientation::right, seed, {}).value().value_or(Data());
}

Dictionary StillCamera::capture(UIImages& images, std::int64_t cameraDevice,
                                const PickerEdit& edit) const {
  const Data picture = view(cameraDevice);
  Dictionary info = pictureInfo(images, picture, edit);
  if (auto metadata = imaging::readProperties(picture))
    info.emplace(UIImagePickerControllerMediaMetadata, *std::move(metadata));
  return info;
}

}  // namespace vecamera::device::camera
