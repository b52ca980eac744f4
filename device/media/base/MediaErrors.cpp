#include "device/media/base/MediaErrors.h"

#include <new>

namespace vecamera::device::media {

Failure<NSError> mediaFailure(AVError code, std::string description) {
  return Failure(
      NSError{std::string(AVFoundationErrorDomain), static_cast<std::int64_t>(code),
              Dictionary{{std::string(NSLocalizedDescriptionKey), std::move(description)}}});
}

Failure<NSError> mediaFailure(const std::exception& thrown) {
  const bool lacksMemory = dynamic_cast<const std::bad_alloc*>(&thrown);
  return mediaFailure(lacksMemory ? AVError::outOfMemory : AVError::unknown,
                      std::string("The movie cannot be worked on: ") + thrown.what() + ".");
}

bool isMediaError(const NSError& error, AVError code) {
  return error.domain == AVFoundationErrorDomain && error.code == static_cast<std::int64_t>(code);
}

}  // namespace vecamera::device::media
