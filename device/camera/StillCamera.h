#pragma once

#include <cstdint>
#include <map>

#include "VECamera/platform/UIKit.h"
#include "device/camera/PickerInfo.h"

namespace vecamera::device::camera {

/// The rear and the front camera, each with a still picture before it: the bytes of a file, or, as
/// long as none was given, a generated scene of its own. Used on one thread at a time.
class StillCamera {
 public:
  /// The camera (a raw value of `UIImagePickerControllerCameraDevice`) sees this picture from now
  /// on.
  void pointAt(std::int64_t cameraDevice, Data picture);
  /// What the camera sees.
  Data view(std::int64_t cameraDevice) const;
  /// The user takes a photo and uses it: the picker's info dictionary, with the capture's metadata.
  Dictionary capture(UIImages& images, std::int64_t cameraDevice, const PickerEdit& edit) const;

 private:
  std::map<std::int64_t, Data> pictures_;
};

}  // namespace vecamera::device::camera
