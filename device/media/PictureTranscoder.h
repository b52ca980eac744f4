#pragma once

#include <cstdint>
#include <memory>

#include "device/media/FrameFitter.h"
#include "device/media/MovieInput.h"
#include "device/media/MovieOutput.h"
#include "device/media/TrackWriter.h"

namespace vecamera::device::media {

/// Decodes a picture track and encodes it again, upright, each picture at its own time. Used on one
/// thread.
class PictureTranscoder final : public TrackWriter {
 public:
  /// Null, with the reason in `error`, on failure. The input outlives the transcoder.
  static std::unique_ptr<PictureTranscoder> make(const MovieInput& input, MovieOutput& output,
                                                 Outcome& error);

  Outcome take(const AVPacket* packet) override;

 private:
  PictureTranscoder(const MovieInput& input, Codec decoder, std::unique_ptr<EncodedTrack> track,
                    FrameFitter fitter);
  Outcome show();
  Outcome encodeHeld(std::int64_t durationTicks);
  Outcome finish();
  std::int64_t lastDurationTicks() const;
  std::int64_t ticks(std::int64_t streamTime) const;

  const MovieInput& input_;
  const AVStream& source_;
  const std::int64_t startTicks_;
  Codec decoder_;
  std::unique_ptr<EncodedTrack> track_;
  FrameFitter fitter_;
  Frame decoded_;
  /// The last picture, which waits for the next one to tell how long it is shown.
  Frame held_;
  bool isHolding_ = false;
  std::int64_t heldTicks_ = 0;
  std::int64_t previousDurationTicks_ = 0;
  std::int64_t shown_ = 0;
  std::int64_t damaged_ = 0;
};

}  // namespace vecamera::device::media
