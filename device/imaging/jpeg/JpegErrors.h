#pragma once

// jpeglib.h needs those before it.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include "device/imaging/base/ImageResult.h"

namespace vecamera::device::imaging {

/// Carries libjpeg's error exit back to the call that met it. libjpeg calls it from C code, so it
/// jumps; every function that sets the jump keeps no object with a destructor.
struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  bool dataEndedEarly = false;

  /// Makes libjpeg report to this object, which outlives its use.
  void install(jpeg_error_mgr*& slot);
  /// `outOfMemory` where the last error was one of memory (none left, or more than a decoder may
  /// have), else `other`.
  Failure<ImageError> failure(ImageError other) const;
};

}  // namespace vecamera::device::imaging
