#pragma once

#include <functional>

#include "VECamera/platform/Photos.h"

namespace vecamera::device::photos {

/// What the user lets the application do with the photo library.
class PhotoAuthorization {
 public:
  virtual ~PhotoAuthorization() = default;
  /// Any thread.
  virtual PHAuthorizationStatus status() = 0;
  /// Asks the user where that is not decided yet. Any thread. The handler runs at most once, on any
  /// thread, never before this call returns; not at all where the user never answers.
  virtual void request(std::function<void(PHAuthorizationStatus)> handler) = 0;
};

}  // namespace vecamera::device::photos
