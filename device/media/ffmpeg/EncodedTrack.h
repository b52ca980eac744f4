#pragma once

#include <cstdint>
#include <memory>
#include <queue>

#include "device/media/ffmpeg/Ffmpeg.h"
#include "device/media/ffmpeg/MovieOutput.h"

namespace vecamera::device::media {

/// The time base of encoded video frames.
inline constexpr AVRational videoTimeBase{1, 90000};

struct VideoSettings {
  Size size;
  AVRational pixelAspectRatio{1, 1};
  AVRational frameRate{30, 1};
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
  /// One thread gives the same bytes for the same frames.
  int threads = 2;
  const char* preset = "veryfast";
};

/// An encoder and the track that its packets go to.
class EncodedTrack {
 public:
  /// H.264 from limited-range yuv420p. On an error the output's other tracks are not touched.
  static MediaResult<std::unique_ptr<EncodedTrack>> addVideo(MovieOutput& output,
                                                             const VideoSettings& settings);
  /// AAC from planar float.
  static MediaResult<std::unique_ptr<EncodedTrack>> addAudio(MovieOutput& output, int rate,
                                                             int channels);

  const AVCodecContext& encoder() const { return *encoder_; }
  AVStream& track() { return track_; }
  /// Takes a frame with its time and, for video, its duration in the encoder's time base; null ends
  /// the track.
  MediaResult<void> encode(const AVFrame* frame);

 private:
  EncodedTrack(Codec encoder, AVStream& track, MovieOutput& output)
      : encoder_(std::move(encoder)), track_(track), output_(output) {}
  static MediaResult<std::unique_ptr<EncodedTrack>> add(MovieOutput& output, Codec encoder,
                                                        const char* what);

  Codec encoder_;
  AVStream& track_;
  MovieOutput& output_;
  Packet packet_ = newPacket();
  /// Of the frames within the encoder, which does not carry them.
  std::queue<std::int64_t> durations_;
};

}  // namespace vecamera::device::media
