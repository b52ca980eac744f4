#include "device/media/SoundTranscoder.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace vecamera::device::media {
namespace {

constexpr int maxChannels = 2;

/// The two rates that everything plays.
int rateFor(int sourceRate) {
  return sourceRate % 11025 == 0 ? 44100 : 48000;
}

NSError isTooLong() {
  return mediaError(AVError::invalidSourceMedia, "The movie is longer than can be exported.");
}

NSError noMemory() {
  return libraryError(AVERROR(ENOMEM), "The sound cannot be encoded", AVError::unknown);
}

}  // namespace

SoundTranscoder::SoundTranscoder(const MovieInput& input, Codec decoder,
                                 std::unique_ptr<EncodedTrack> track)
    : source_(*input.sound()),
      startMicroseconds_(input.startMicroseconds()),
      decoder_(std::move(decoder)),
      track_(std::move(track)),
      frames_(*track_),
      decoded_(av_frame_alloc()),
      resampled_(av_frame_alloc()) {}

std::unique_ptr<SoundTranscoder> SoundTranscoder::make(const MovieInput& input, MovieOutput& output,
                                                       Outcome& error) {
  const AVCodecParameters& sound = *input.sound()->codecpar;
  Codec decoder = openDecoder(*input.sound(), error);
  if (!decoder) return nullptr;
  auto track = addSoundTrack(output, rateFor(sound.sample_rate),
                             std::min(sound.ch_layout.nb_channels, maxChannels), error);
  if (!track) return nullptr;
  std::unique_ptr<SoundTranscoder> made(
      new SoundTranscoder(input, std::move(decoder), std::move(track)));
  if (made->decoded_ && made->resampled_) return made;
  error = noMemory();
  return nullptr;
}

Outcome SoundTranscoder::take(const AVPacket* packet) {
  // What is damaged is missing, and then filled with silence.
  int done = avcodec_send_packet(decoder_.get(), packet);
  if (done < 0 && done != AVERROR_EOF) ++damaged_;
  while ((done = avcodec_receive_frame(decoder_.get(), decoded_.get())) >= 0) {
    if (auto error = hear()) return error;
  }
  if (done != AVERROR(EAGAIN) && done != AVERROR_EOF) ++damaged_;
  if (packet) return std::nullopt;
  if (damaged_ > heard_)
    return mediaError(AVError::decodeFailed, "The sound of the movie cannot be decoded.");
  if (resampler_) {
    if (auto error = resample(nullptr)) return error;
  }
  return frames_.finish();
}

Outcome SoundTranscoder::hear() {
  if (!prepareResampler())
    return mediaError(AVError::decodeFailed, "The sound of the movie cannot be converted.");
  if (auto error = keepInStep()) return error;
  ++heard_;
  return resample(decoded_.get());
}

bool SoundTranscoder::prepareResampler() {
  const AVFrame& frame = *decoded_;
  if (resampler_ && frame.sample_rate == rate_ && frame.format == format_ &&
      frame.ch_layout.nb_channels == channels_)
    return true;
  if (frame.sample_rate <= 0 || frame.ch_layout.nb_channels <= 0) return false;
  rate_ = frame.sample_rate;
  format_ = frame.format;
  channels_ = frame.ch_layout.nb_channels;
  AVChannelLayout from = frame.ch_layout;
  // Without an order of its channels the sound could not be mixed.
  if (from.order == AV_CHANNEL_ORDER_UNSPEC) av_channel_layout_default(&from, channels_);
  AVChannelLayout to;
  av_channel_layout_default(&to, track_->encoder().ch_layout.nb_channels);
  const AVCodecContext& encoder = track_->encoder();
  SwrContext* made = nullptr;
  const int set = swr_alloc_set_opts2(&made, &to, encoder.sample_fmt, encoder.sample_rate, &from,
                                      static_cast<AVSampleFormat>(format_), rate_, 0, nullptr);
  resampler_.reset(made);
  return set >= 0 && swr_init(made) >= 0;
}

/// Brings the end of what is written to where the decoded frame belongs, within the tolerance that
/// the ear allows, so that the coarse times of some containers do not tear the sound.
Outcome SoundTranscoder::keepInStep() {
  constexpr std::int64_t toleranceMilliseconds = 40;
  // Silence takes time to encode, which a few bytes should not ask for without measure.
  constexpr std::int64_t maxSilenceSeconds = 600;
  const int rate = track_->encoder().sample_rate;
  const std::int64_t position = frames_.written() + swr_get_delay(resampler_.get(), rate);
  const std::int64_t last = av_rescale(maxMovieMicroseconds, rate, 1'000'000);
  if (position > last) return isTooLong();
  if (decoded_->best_effort_timestamp == AV_NOPTS_VALUE) return std::nullopt;
  const std::int64_t at =
      rescaled(decoded_->best_effort_timestamp, source_.time_base, AVRational{1, rate}) -
      rescaled(startMicroseconds_, microseconds, AVRational{1, rate});
  if (at > last) return isTooLong();
  const std::int64_t lead = position - at;
  const std::int64_t tolerance = heard_ > 0 ? rate * toleranceMilliseconds / 1000 : 0;
  if (-lead > rate * maxSilenceSeconds)
    return mediaError(AVError::invalidSourceMedia, "The sound of the movie has too long a gap.");
  surplus_ = lead > tolerance ? lead : 0;
  return lead < -tolerance ? frames_.writeSilence(-lead) : std::nullopt;
}

Outcome SoundTranscoder::resample(const AVFrame* frame) {
  const int expected = swr_get_out_samples(resampler_.get(), frame ? frame->nb_samples : 0);
  if (expected <= 0) return std::nullopt;
  const AVCodecContext& encoder = track_->encoder();
  if (resampled_->nb_samples < expected) {
    av_frame_unref(resampled_.get());
    resampled_->format = encoder.sample_fmt;
    resampled_->nb_samples = expected;
    if (av_channel_layout_copy(&resampled_->ch_layout, &encoder.ch_layout) < 0 ||
        av_frame_get_buffer(resampled_.get(), 0) < 0) {
      resampled_->nb_samples = 0;
      return noMemory();
    }
  }
  auto** const from = frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
  const int got = swr_convert(resampler_.get(), resampled_->extended_data, resampled_->nb_samples,
                              from, frame ? frame->nb_samples : 0);
  if (got < 0) return libraryError(got, "The sound cannot be converted", AVError::decodeFailed);
  const auto left = static_cast<int>(std::min<std::int64_t>(surplus_, got));
  surplus_ -= left;
  std::array<const std::uint8_t*, maxChannels> planes{};
  for (int channel = 0; channel < encoder.ch_layout.nb_channels; ++channel)
    planes[static_cast<std::size_t>(channel)] =
        resampled_->data[channel] + static_cast<std::size_t>(left) * sizeof(float);
  return frames_.write(planes.data(), got - left);
}

}  // namespace vecamera::device::media
