#pragma once

#include <memory>
#include <string>

#include "device/imaging/base/PictureFormat.h"
#include "device/media/ffmpeg/Ffmpeg.h"

struct AVSHA;

namespace vecamera::device::media {

/// A SHA-256 digest (FIPS 180-4) of bytes that come piece by piece. Used by one thread at a time.
class Sha256 {
 public:
  Sha256();
  void update(imaging::Bytes bytes);
  /// Sixty-four hexadecimal digits in lower case. Nothing may be added afterwards.
  std::string finish();

 private:
  std::unique_ptr<AVSHA, Release<av_free>> context_;
};

}  // namespace vecamera::device::media
