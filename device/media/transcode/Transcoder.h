#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "device/media/ffmpeg/EncodedTrack.h"
#include "device/media/transcode/TrackWriter.h"

namespace vecamera::device::media {

/// Decodes every packet of a track, for frames to encode. What is damaged is left out and counted.
class Transcoder : public TrackWriter {
 public:
  MediaResult<void> write(const AVPacket* packet) final {
    int status = avcodec_send_packet(decoder_.get(), packet);
    if (status < 0 && status != AVERROR_EOF) ++decodeErrors_;
    while ((status = avcodec_receive_frame(decoder_.get(), decoded_.get())) >= 0) {
      if (auto done = processFrame(); !done) return done;
    }
    if (status != AVERROR(EAGAIN) && status != AVERROR_EOF) ++decodeErrors_;
    return packet ? MediaResult<void>() : finish();
  }

 protected:
  Transcoder(const AVStream& source, Codec decoder, std::unique_ptr<EncodedTrack> track)
      : source_(source), track_(std::move(track)), decoder_(std::move(decoder)) {}
  /// Takes `decoded_`.
  virtual MediaResult<void> processFrame() = 0;
  /// Called after the last frame.
  virtual MediaResult<void> finish() = 0;

  const AVStream& source_;
  const std::unique_ptr<EncodedTrack> track_;
  const Frame decoded_ = newFrame();
  std::int64_t decodeErrors_ = 0;

 private:
  const Codec decoder_;
};

}  // namespace vecamera::device::media
