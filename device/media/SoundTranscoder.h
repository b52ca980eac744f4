#pragma once

#include <cstdint>
#include <memory>

#include "device/media/MovieInput.h"
#include "device/media/MovieOutput.h"
#include "device/media/SoundFrames.h"
#include "device/media/TrackWriter.h"

namespace vecamera::device::media {

/// Decodes a sound track and encodes it again, in step with the pictures: what is missing at the
/// start or in the middle is silence. Used on one thread.
class SoundTranscoder final : public TrackWriter {
 public:
  /// Null, with the reason in `error`, on failure. The input has a sound track and outlives the
  /// transcoder.
  static std::unique_ptr<SoundTranscoder> make(const MovieInput& input, MovieOutput& output,
                                               Outcome& error);

  Outcome take(const AVPacket* packet) override;

 private:
  SoundTranscoder(const MovieInput& input, Codec decoder, std::unique_ptr<EncodedTrack> track);
  Outcome hear();
  bool prepareResampler();
  Outcome resample(const AVFrame* frame);
  Outcome keepInStep();

  const AVStream& source_;
  const std::int64_t startMicroseconds_;
  Codec decoder_;
  std::unique_ptr<EncodedTrack> track_;
  SoundFrames frames_;
  Frame decoded_;
  Frame resampled_;
  Resampler resampler_;
  /// What the resampler is made for.
  int rate_ = 0;
  int format_ = AV_SAMPLE_FMT_NONE;
  int channels_ = 0;
  /// Samples to leave out before the next ones are written.
  std::int64_t surplus_ = 0;
  std::int64_t heard_ = 0;
  std::int64_t damaged_ = 0;
};

}  // namespace vecamera::device::media
