#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "device/media/transcode/AudioFramer.h"
#include "device/media/transcode/Transcoder.h"

namespace vecamera::device::media {
namespace {

/// The two rates that everything plays.
int rateFor(int sourceRate) {
  return sourceRate % 11025 == 0 ? 44100 : 48000;
}

Failure<NSError> tooLong() {
  return mediaFailure(AVError::invalidSourceMedia, "The movie is longer than can be exported.");
}

/// What is missing in the middle is filled with silence.
class AudioTranscoder final : public Transcoder {
 public:
  AudioTranscoder(const MovieInput& input, Codec decoder, std::unique_ptr<EncodedTrack> track)
      : Transcoder(*input.audio(), std::move(decoder), std::move(track)),
        startMicroseconds_(input.startMicroseconds()),
        framer_(*track_) {}

 private:
  MediaResult<void> finish() override {
    if (decodeErrors_ > decodedFrames_)
      return mediaFailure(AVError::decodeFailed, "The sound of the movie cannot be decoded.");
    if (resampler_) {
      if (auto done = resample(nullptr); !done) return done;
    }
    return framer_.finish();
  }

  MediaResult<void> processFrame() override {
    if (auto done = prepareResampler(); !done) return done;
    if (auto done = synchronize(); !done) return done;
    ++decodedFrames_;
    return resample(decoded_.get());
  }

  MediaResult<void> prepareResampler() {
    constexpr const char* cannotConvert = "The sound of the movie cannot be converted.";
    const AVFrame& frame = *decoded_;
    if (resampler_ && frame.sample_rate == rate_ && frame.format == format_ &&
        frame.ch_layout.nb_channels == channels_)
      return {};
    if (frame.sample_rate <= 0 || frame.ch_layout.nb_channels <= 0)
      return mediaFailure(AVError::decodeFailed, cannotConvert);
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
    if (set >= 0 && swr_init(made) >= 0) return {};
    return mediaFailure(AVError::decodeFailed, cannotConvert);
  }

  /// Brings the end of what is written to where the decoded frame belongs, within the tolerance
  /// that the ear allows, so that the coarse times of some formats do not tear the sound.
  MediaResult<void> synchronize() {
    constexpr std::int64_t toleranceMilliseconds = 40;
    // Silence takes time to encode, which a few bytes should not ask for without measure.
    constexpr std::int64_t maxSilenceSeconds = 600;
    const int rate = track_->encoder().sample_rate;
    const std::int64_t position = framer_.written() + swr_get_delay(resampler_.get(), rate);
    const std::int64_t last = av_rescale(maxMovieMicroseconds, rate, 1'000'000);
    if (position > last) return tooLong();
    if (decoded_->best_effort_timestamp == AV_NOPTS_VALUE) return {};
    const std::int64_t at =
        rescaled(decoded_->best_effort_timestamp, source_.time_base, AVRational{1, rate}) -
        rescaled(startMicroseconds_, microseconds, AVRational{1, rate});
    if (at > last) return tooLong();
    const std::int64_t lead = position - at;
    const std::int64_t tolerance = decodedFrames_ > 0 ? rate * toleranceMilliseconds / 1000 : 0;
    if (-lead > rate * maxSilenceSeconds)
      return mediaFailure(AVError::invalidSourceMedia,
                          "The sound of the movie has too long a gap.");
    samplesToDrop_ = lead > tolerance ? lead : 0;
    return lead < -tolerance ? framer_.writeSilence(-lead) : MediaResult<void>();
  }

  MediaResult<void> resample(const AVFrame* frame) {
    const int expected = swr_get_out_samples(resampler_.get(), frame ? frame->nb_samples : 0);
    if (expected <= 0) return {};
    const AVCodecContext& encoder = track_->encoder();
    if (resampled_->nb_samples < expected) {
      if (auto done = allocateSamples(*resampled_, expected, encoder); !done) return done;
    }
    auto** const from = frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
    const int got = swr_convert(resampler_.get(), resampled_->extended_data, resampled_->nb_samples,
                                from, frame ? frame->nb_samples : 0);
    if (got < 0) return ffmpegFailure(got, "The sound cannot be converted", AVError::decodeFailed);
    const auto dropped = static_cast<int>(std::min<std::int64_t>(samplesToDrop_, got));
    samplesToDrop_ -= dropped;
    std::array<const std::uint8_t*, maxAudioChannels> planes{};
    for (int channel = 0; channel < encoder.ch_layout.nb_channels; ++channel)
      planes[static_cast<std::size_t>(channel)] =
          resampled_->data[channel] + static_cast<std::size_t>(dropped) * sizeof(float);
    return framer_.write(planes.data(), got - dropped);
  }

  const std::int64_t startMicroseconds_;
  AudioFramer framer_;
  const Frame resampled_ = newFrame();
  Resampler resampler_;
  /// What the resampler is made for.
  int rate_ = 0;
  int format_ = AV_SAMPLE_FMT_NONE;
  int channels_ = 0;
  /// To leave out before the next samples are written.
  std::int64_t samplesToDrop_ = 0;
  std::int64_t decodedFrames_ = 0;
};

}  // namespace

MediaResult<std::unique_ptr<TrackWriter>> transcodeAudio(const MovieInput& input,
                                                         MovieOutput& output) {
  const AVCodecParameters& audio = *input.audio()->codecpar;
  auto decoder = openDecoder(*input.audio());
  if (!decoder) return std::move(decoder).failure();
  auto track = EncodedTrack::addAudio(output, rateFor(audio.sample_rate),
                                      std::min(audio.ch_layout.nb_channels, maxAudioChannels));
  if (!track) return std::move(track).failure();
  return std::make_unique<AudioTranscoder>(input, std::move(*decoder), std::move(*track));
}

}  // namespace vecamera::device::media
