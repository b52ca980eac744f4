#pragma once

#include <memory>

#include "device/media/ffmpeg/Ffmpeg.h"
#include "device/media/ffmpeg/MovieInput.h"
#include "device/media/ffmpeg/MovieOutput.h"

namespace vecamera::device::media {

/// Makes one track of the output of one of the input, both of which outlive it. Used on one thread.
class TrackWriter {
 public:
  virtual ~TrackWriter() = default;
  /// A packet of the input's track; null at its end.
  virtual MediaResult<void> write(const AVPacket* packet) = 0;
  /// Whether it failed as a copy, and another export can encode the track.
  virtual bool mustBeEncoded() const { return false; }
};

/// Whether a track of the input already is what an exported movie holds, as far as its head shows.
bool fitsAsItIs(const MovieInput& input, const AVStream& track);

/// Copies the packets of a track. Fails with `mustBeEncoded` set where its format changes, an edit
/// list cuts into it, its times cannot be written, or a frame is damaged so that even its parts are
/// not whole.
MediaResult<std::unique_ptr<TrackWriter>> copyTrack(const MovieInput& input, const AVStream& track,
                                                    MovieOutput& output);

/// Decodes the video track and encodes it again, upright, each frame at its own time.
MediaResult<std::unique_ptr<TrackWriter>> transcodeVideo(const MovieInput& input,
                                                         MovieOutput& output);

/// Decodes the audio track, which the input has, and encodes it again, in step with the video: what
/// is missing at the start or in the middle is silence.
MediaResult<std::unique_ptr<TrackWriter>> transcodeAudio(const MovieInput& input,
                                                         MovieOutput& output);

}  // namespace vecamera::device::media
