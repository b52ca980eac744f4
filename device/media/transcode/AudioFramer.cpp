#include "device/media/transcode/AudioFramer.h"

#include <algorithm>
#include <array>

namespace vecamera::device::media {

MediaResult<void> allocateSamples(AVFrame& frame, int samples, const AVCodecContext& encoder) {
  av_frame_unref(&frame);
  frame.format = encoder.sample_fmt;
  frame.sample_rate = encoder.sample_rate;
  frame.nb_samples = samples;
  if (av_channel_layout_copy(&frame.ch_layout, &encoder.ch_layout) >= 0 &&
      av_frame_get_buffer(&frame, 0) >= 0)
    return {};
  av_frame_unref(&frame);
  return outOfMemory(cannotEncodeAudio);
}

AudioFramer::AudioFramer(EncodedTrack& track)
    : track_(track),
      encoder_(track.encoder()),
      waiting_(allocated(av_audio_fifo_alloc(encoder_.sample_fmt, encoder_.ch_layout.nb_channels,
                                             2 * encoder_.frame_size))) {}

MediaResult<void> AudioFramer::encode(int samples) {
  if (auto done = allocateSamples(*frame_, samples, encoder_); !done) return done;
  frame_->pts = encoded_;
  if (av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame_->data), samples) < samples)
    return outOfMemory(cannotEncodeAudio);
  encoded_ += samples;
  return track_.encode(frame_.get());
}

MediaResult<void> AudioFramer::write(const std::uint8_t* const* planes, int samples) {
  auto** const data = reinterpret_cast<void**>(const_cast<std::uint8_t**>(planes));
  if (av_audio_fifo_write(waiting_.get(), data, samples) < samples)
    return outOfMemory(cannotEncodeAudio);
  written_ += samples;
  while (av_audio_fifo_size(waiting_.get()) >= encoder_.frame_size) {
    if (auto done = encode(encoder_.frame_size); !done) return done;
  }
  return {};
}

MediaResult<void> AudioFramer::writeSilence(std::int64_t samples) {
  static constexpr std::array<float, 4096> silence{};
  const auto* const plane = reinterpret_cast<const std::uint8_t*>(silence.data());
  const std::array<const std::uint8_t*, maxAudioChannels> planes{plane, plane};
  while (samples > 0) {
    const auto part =
        static_cast<int>(std::min(samples, static_cast<std::int64_t>(silence.size())));
    if (auto done = write(planes.data(), part); !done) return done;
    samples -= part;
  }
  return {};
}

MediaResult<void> AudioFramer::finish() {
  const int rest = av_audio_fifo_size(waiting_.get());
  if (rest > 0) {
    if (auto done = encode(rest); !done) return done;
  }
  return track_.encode(nullptr);
}

}  // namespace vecamera::device::media
