#pragma once

#include "device/media/Ffmpeg.h"

namespace vecamera::device::media {

/// Makes one track of the output of one of the input. Used on one thread.
class TrackWriter {
 public:
  virtual ~TrackWriter() = default;
  /// A packet of the input's track; null at its end.
  virtual Outcome take(const AVPacket* packet) = 0;
};

}  // namespace vecamera::device::media
