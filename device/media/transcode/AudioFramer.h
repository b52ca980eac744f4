#pragma once

#include <cstdint>

#include "device/media/ffmpeg/EncodedTrack.h"

namespace vecamera::device::media {

inline constexpr int maxAudioChannels = 2;
inline constexpr const char* cannotEncodeAudio = "The sound cannot be encoded";

/// Gives the frame memory for so many samples, as the encoder takes them.
MediaResult<void> allocateSamples(AVFrame& frame, int samples, const AVCodecContext& encoder);

/// Frames of one length for an encoder, from samples of any number. Planar float. Used on one
/// thread.
class AudioFramer {
 public:
  explicit AudioFramer(EncodedTrack& track);

  /// Samples handed in so far.
  std::int64_t written() const { return written_; }
  MediaResult<void> write(const std::uint8_t* const* planes, int samples);
  MediaResult<void> writeSilence(std::int64_t samples);
  /// Ends the track.
  MediaResult<void> finish();

 private:
  MediaResult<void> encode(int samples);

  EncodedTrack& track_;
  const AVCodecContext& encoder_;
  Fifo waiting_;
  Frame frame_ = newFrame();
  std::int64_t written_ = 0;
  std::int64_t encoded_ = 0;
};

}  // namespace vecamera::device::media
