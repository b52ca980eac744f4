#pragma once

#include "device/base/Result.h"

namespace vecamera::device::imaging {

/// Why there are no pixels or no encoded picture.
enum class ImageError {
  /// This function does not take such pictures; another one may.
  unsupported,
  /// The bytes are damaged or end early. Nothing else can read them either.
  corrupt,
  outOfMemory,
};

template <class T>
using ImageResult = Result<T, ImageError>;

}  // namespace vecamera::device::imaging
