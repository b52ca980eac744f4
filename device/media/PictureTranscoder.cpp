#include "device/media/PictureTranscoder.h"

#include <algorithm>
#include <utility>

namespace vecamera::device::media {
namespace {

constexpr std::int64_t ticksPerSecond = pictureTimeBase.den;
constexpr std::int64_t maxTicks = maxMovieMicroseconds / 1'000'000 * ticksPerSecond;

PictureSettings settingsFor(const AVStream& source, Size size, const imaging::Orientation& turn) {
  const AVCodecParameters& picture = *source.codecpar;
  PictureSettings settings;
  settings.width = size.width;
  settings.height = size.height;
  settings.pixelShape = pixelShape(source);
  if (turn.swapsAxes) std::swap(settings.pixelShape.num, settings.pixelShape.den);
  settings.rate = nominalRate(source);
  settings.primaries = picture.color_primaries;
  settings.transfer = picture.color_trc;
  // What is red, green and blue is brought to the luma and chroma of this standard.
  settings.space = picture.color_space == AVCOL_SPC_RGB ? AVCOL_SPC_SMPTE170M : picture.color_space;
  if (isHighRange(picture.color_trc)) {
    settings.primaries = AVCOL_PRI_BT709;
    settings.transfer = AVCOL_TRC_BT709;
    settings.space = AVCOL_SPC_SMPTE170M;
  }
  return settings;
}

}  // namespace

PictureTranscoder::PictureTranscoder(const MovieInput& input, Codec decoder,
                                     std::unique_ptr<EncodedTrack> track, FrameFitter fitter)
    : input_(input),
      source_(input.picture()),
      startTicks_(rescaled(input.startMicroseconds(), microseconds, pictureTimeBase)),
      decoder_(std::move(decoder)),
      track_(std::move(track)),
      fitter_(std::move(fitter)),
      decoded_(av_frame_alloc()),
      held_(av_frame_alloc()) {}

std::unique_ptr<PictureTranscoder> PictureTranscoder::make(const MovieInput& input,
                                                           MovieOutput& output, Outcome& error) {
  const AVStream& source = input.picture();
  Codec decoder = openDecoder(source, error);
  if (!decoder) return nullptr;
  const imaging::Orientation turn = turnOf(source);
  FrameFitter fitter(encodableSize({source.codecpar->width, source.codecpar->height}), turn);
  auto track = addPictureTrack(output, settingsFor(source, fitter.turnedSize(), turn), error);
  if (!track) return nullptr;
  std::unique_ptr<PictureTranscoder> made(
      new PictureTranscoder(input, std::move(decoder), std::move(track), std::move(fitter)));
  if (made->decoded_ && made->held_) return made;
  error = libraryError(AVERROR(ENOMEM), "The movie cannot be read", AVError::unknown);
  return nullptr;
}

std::int64_t PictureTranscoder::ticks(std::int64_t streamTime) const {
  return rescaled(streamTime, source_.time_base, pictureTimeBase);
}

Outcome PictureTranscoder::take(const AVPacket* packet) {
  int done = avcodec_send_packet(decoder_.get(), packet);
  if (done < 0 && done != AVERROR_EOF) ++damaged_;
  while ((done = avcodec_receive_frame(decoder_.get(), decoded_.get())) >= 0) {
    if (auto error = show()) return error;
  }
  if (done != AVERROR(EAGAIN) && done != AVERROR_EOF) ++damaged_;
  return packet ? std::nullopt : finish();
}

Outcome PictureTranscoder::show() {
  std::int64_t at = heldTicks_ + previousDurationTicks_;
  if (decoded_->best_effort_timestamp != AV_NOPTS_VALUE)
    at = std::max<std::int64_t>(ticks(decoded_->best_effort_timestamp) - startTicks_, 0);
  if (at > maxTicks)
    return mediaError(AVError::invalidSourceMedia, "The movie is longer than can be exported.");
  // A picture at the time of the one before, or earlier, cannot be shown.
  if (!isHolding_ || at > heldTicks_) {
    if (isHolding_) {
      if (auto error = encodeHeld(at - heldTicks_)) return error;
    }
    av_frame_unref(held_.get());
    av_frame_move_ref(held_.get(), decoded_.get());
    isHolding_ = true;
    heldTicks_ = at;
  }
  av_frame_unref(decoded_.get());
  return std::nullopt;
}

Outcome PictureTranscoder::encodeHeld(std::int64_t durationTicks) {
  AVFrame* const picture = fitter_.fit(*held_);
  if (!picture)
    return mediaError(AVError::decodeFailed, "The pictures of the movie cannot be converted.");
  picture->pts = heldTicks_;
  picture->pkt_duration = durationTicks;
  // The encoder would keep to the source's choice of key pictures.
  picture->pict_type = AV_PICTURE_TYPE_NONE;
  previousDurationTicks_ = durationTicks;
  ++shown_;
  return track_->encode(picture);
}

std::int64_t PictureTranscoder::lastDurationTicks() const {
  constexpr std::int64_t shortest = ticksPerSecond / 240;
  constexpr std::int64_t longestWait = 600 * ticksPerSecond;
  std::int64_t duration = held_->pkt_duration > 0 ? ticks(held_->pkt_duration) : 0;
  if (duration < shortest || duration > longestWait) {
    const AVRational rate = nominalRate(source_);
    duration =
        previousDurationTicks_ > 0 ? previousDurationTicks_ : ticksPerSecond * rate.den / rate.num;
  }
  // A container without durations of its own pictures still tells how long the last one stays.
  const auto whole = input_.durationMicroseconds();
  if (whole && !input_.sound()) {
    const std::int64_t rest =
        rescaled(*whole, microseconds, pictureTimeBase) - startTicks_ - heldTicks_;
    if (rest <= longestWait) duration = std::max(duration, rest);
  }
  return duration;
}

Outcome PictureTranscoder::finish() {
  if (isHolding_) {
    if (auto error = encodeHeld(lastDurationTicks())) return error;
  }
  if (shown_ == 0 || damaged_ > shown_)
    return mediaError(AVError::decodeFailed, "The pictures of the movie cannot be decoded.");
  return track_->encode(nullptr);
}

}  // namespace vecamera::device::media
