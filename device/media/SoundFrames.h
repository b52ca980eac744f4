#pragma once

#include <cstdint>

#include "device/media/MovieOutput.h"

namespace vecamera::device::media {

/// Frames of one length for an encoder, from samples of any number. Planar float. Used on one
/// thread.
class SoundFrames {
 public:
  explicit SoundFrames(EncodedTrack& track);

  /// Samples handed in so far.
  std::int64_t written() const { return written_; }
  Outcome write(const std::uint8_t* const* planes, int samples);
  Outcome writeSilence(std::int64_t samples);
  /// Ends the track.
  Outcome finish();

 private:
  Outcome encode(int samples);

  EncodedTrack& track_;
  const AVCodecContext& encoder_;
  Fifo waiting_;
  Frame frame_;
  std::int64_t written_ = 0;
  std::int64_t encoded_ = 0;
};

}  // namespace vecamera::device::media
