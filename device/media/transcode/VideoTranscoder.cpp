#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include "device/media/transcode/FrameFitter.h"
#include "device/media/transcode/Transcoder.h"

namespace vecamera::device::media {
namespace {

constexpr std::int64_t ticksPerSecond = videoTimeBase.den;
constexpr std::int64_t maxTicks = maxMovieMicroseconds / 1'000'000 * ticksPerSecond;

VideoSettings settingsFor(const AVStream& source, Size size,
                          const imaging::Orientation& orientation) {
  const AVCodecParameters& video = *source.codecpar;
  VideoSettings settings;
  settings.size = size;
  settings.pixelAspectRatio = pixelAspectRatio(source);
  if (orientation.swapsAxes)
    std::swap(settings.pixelAspectRatio.num, settings.pixelAspectRatio.den);
  settings.frameRate = nominalFrameRate(source);
  settings.primaries = video.color_primaries;
  settings.transfer = video.color_trc;
  // RGB is converted to the luma and chroma of this standard.
  settings.space = video.color_space == AVCOL_SPC_RGB ? AVCOL_SPC_SMPTE170M : video.color_space;
  if (isHdr(video.color_trc)) {
    settings.primaries = AVCOL_PRI_BT709;
    settings.transfer = AVCOL_TRC_BT709;
    settings.space = AVCOL_SPC_SMPTE170M;
  }
  return settings;
}

class VideoTranscoder final : public Transcoder {
 public:
  VideoTranscoder(const MovieInput& input, Codec decoder, std::unique_ptr<EncodedTrack> track,
                  FrameFitter fitter)
      : Transcoder(input.video(), std::move(decoder), std::move(track)),
        input_(input),
        startTicks_(rescaled(input.startMicroseconds(), microseconds, videoTimeBase)),
        fitter_(std::move(fitter)) {}

 private:
  MediaResult<void> processFrame() override {
    std::int64_t at = pendingTicks_ + previousDurationTicks_;
    if (decoded_->best_effort_timestamp != AV_NOPTS_VALUE)
      at = std::max<std::int64_t>(ticks(decoded_->best_effort_timestamp) - startTicks_, 0);
    if (at > maxTicks)
      return mediaFailure(AVError::invalidSourceMedia, "The movie is longer than can be exported.");
    // A frame at the time of the one before, or earlier, cannot be shown.
    if (!hasPending_ || at > pendingTicks_) {
      if (hasPending_) {
        if (auto done = encodePending(at - pendingTicks_); !done) return done;
      }
      av_frame_unref(pending_.get());
      av_frame_move_ref(pending_.get(), decoded_.get());
      hasPending_ = true;
      pendingTicks_ = at;
    }
    av_frame_unref(decoded_.get());
    return {};
  }

  MediaResult<void> encodePending(std::int64_t durationTicks) {
    auto fitted = fitter_.fit(*pending_);
    if (!fitted) return std::move(fitted).failure();
    AVFrame& frame = **fitted;
    frame.pts = pendingTicks_;
    frame.pkt_duration = durationTicks;
    // The encoder would keep to the source's choice of key frames.
    frame.pict_type = AV_PICTURE_TYPE_NONE;
    previousDurationTicks_ = durationTicks;
    ++encoded_;
    return track_->encode(&frame);
  }

  std::int64_t lastDurationTicks() const {
    constexpr std::int64_t min = ticksPerSecond / 240;
    constexpr std::int64_t max = 600 * ticksPerSecond;
    std::int64_t duration = pending_->pkt_duration > 0 ? ticks(pending_->pkt_duration) : 0;
    if (duration < min || duration > max) {
      const AVRational rate = nominalFrameRate(source_);
      duration = previousDurationTicks_ > 0 ? previousDurationTicks_
                                            : ticksPerSecond * rate.den / rate.num;
    }
    // A format without durations of frames still bounds that of the last one by its own.
    const auto whole = input_.durationMicroseconds();
    if (whole && !input_.audio()) {
      const std::int64_t rest =
          rescaled(*whole, microseconds, videoTimeBase) - startTicks_ - pendingTicks_;
      if (rest <= max) duration = std::max(duration, rest);
    }
    return duration;
  }

  MediaResult<void> finish() override {
    if (hasPending_) {
      if (auto done = encodePending(lastDurationTicks()); !done) return done;
    }
    if (encoded_ == 0 || decodeErrors_ > encoded_)
      return mediaFailure(AVError::decodeFailed, "The pictures of the movie cannot be decoded.");
    return track_->encode(nullptr);
  }

  std::int64_t ticks(std::int64_t streamTime) const {
    return rescaled(streamTime, source_.time_base, videoTimeBase);
  }

  const MovieInput& input_;
  const std::int64_t startTicks_;
  FrameFitter fitter_;
  /// The last frame, whose duration the time of the next one gives.
  const Frame pending_ = newFrame();
  bool hasPending_ = false;
  std::int64_t pendingTicks_ = 0;
  std::int64_t previousDurationTicks_ = 0;
  std::int64_t encoded_ = 0;
};

}  // namespace

MediaResult<std::unique_ptr<TrackWriter>> transcodeVideo(const MovieInput& input,
                                                         MovieOutput& output) {
  const AVStream& source = input.video();
  auto decoder = openDecoder(source);
  if (!decoder) return std::move(decoder).failure();
  const imaging::Orientation orientation = orientationOf(source);
  FrameFitter fitter(encodableSize({source.codecpar->width, source.codecpar->height}), orientation);
  auto track =
      EncodedTrack::addVideo(output, settingsFor(source, fitter.uprightSize(), orientation));
  if (!track) return std::move(track).failure();
  return std::make_unique<VideoTranscoder>(input, std::move(*decoder), std::move(*track),
                                           std::move(fitter));
}

}  // namespace vecamera::device::media
