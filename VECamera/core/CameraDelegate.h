#pragma once

namespace vecamera {

/// Through this an embedding application may take over the handling of refused permissions.
class CameraDelegate {
 public:
  virtual ~CameraDelegate() = default;
  virtual void cameraPermissionDeny() = 0;
  virtual void photoLibraryPermissionDeny() = 0;
};

}  // namespace vecamera
