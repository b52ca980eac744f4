#include "device/media/ffmpeg/EncodedTrack.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <string>

namespace vecamera::device::media {
namespace {

MediaResult<Codec> newEncoder(const char* encoderName, const char* formatName) {
  const AVCodec* const encoder = avcodec_find_encoder_by_name(encoderName);
  if (encoder) return Codec(allocated(avcodec_alloc_context3(encoder)));
  return mediaFailure(AVError::exportFailed,
                      std::string("There is no encoder for ") + formatName + ".");
}

}  // namespace

MediaResult<std::unique_ptr<EncodedTrack>> EncodedTrack::add(MovieOutput& output, Codec encoder,
                                                             const char* what) {
  // The parameter sets stand in the head of the file, not in each packet.
  encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
  const int opened = avcodec_open2(encoder.get(), encoder->codec, nullptr);
  if (opened < 0) return ffmpegFailure(opened, what, AVError::exportFailed);
  AVStream& track = output.addTrack();
  const int copied = avcodec_parameters_from_context(track.codecpar, encoder.get());
  if (copied < 0)
    return ffmpegFailure(copied, "The movie cannot be written", AVError::exportFailed);
  track.time_base = encoder->time_base;
  track.sample_aspect_ratio = encoder->sample_aspect_ratio;
  track.avg_frame_rate = encoder->framerate;
  return std::unique_ptr<EncodedTrack>(new EncodedTrack(std::move(encoder), track, output));
}

MediaResult<std::unique_ptr<EncodedTrack>> EncodedTrack::addVideo(MovieOutput& output,
                                                                  const VideoSettings& settings) {
  constexpr int constantRateFactor = 20;
  auto made = newEncoder("libx264", "H.264");
  if (!made) return std::move(made).failure();
  AVCodecContext& codec = **made;
  codec.width = settings.size.width;
  codec.height = settings.size.height;
  codec.pix_fmt = AV_PIX_FMT_YUV420P;
  codec.time_base = videoTimeBase;
  // Each frame brings its time; this rate only sets rate control and level.
  codec.framerate = settings.frameRate;
  codec.sample_aspect_ratio = settings.pixelAspectRatio;
  codec.color_range = AVCOL_RANGE_MPEG;
  codec.color_primaries = settings.primaries;
  codec.color_trc = settings.transfer;
  codec.colorspace = settings.space;
  codec.gop_size = 60;
  // Without B-frames, a track needs no edit list to be in step with the sound.
  codec.max_b_frames = 0;
  codec.thread_count = settings.threads;
  av_opt_set(codec.priv_data, "profile", "high", 0);
  av_opt_set(codec.priv_data, "preset", settings.preset, 0);
  av_opt_set_int(codec.priv_data, "crf", constantRateFactor, 0);
  // Frames that the encoder holds: each is 13 MB at the largest size.
  av_opt_set_int(codec.priv_data, "rc-lookahead", 10, 0);
  return add(output, std::move(*made), "The pictures cannot be encoded");
}

MediaResult<std::unique_ptr<EncodedTrack>> EncodedTrack::addAudio(MovieOutput& output, int rate,
                                                                  int channels) {
  constexpr int bitsPerChannel = 96000;
  auto made = newEncoder("aac", "AAC");
  if (!made) return std::move(made).failure();
  AVCodecContext& codec = **made;
  codec.sample_rate = rate;
  codec.sample_fmt = AV_SAMPLE_FMT_FLTP;
  av_channel_layout_default(&codec.ch_layout, channels);
  codec.bit_rate = bitsPerChannel * channels;
  codec.time_base = {1, rate};
  codec.thread_count = 1;
  return add(output, std::move(*made), "The sound cannot be encoded");
}

MediaResult<void> EncodedTrack::encode(const AVFrame* frame) {
  if (frame && frame->width > 0) durations_.push(frame->pkt_duration);
  constexpr const char* what = "The movie cannot be encoded";
  int status = avcodec_send_frame(encoder_.get(), frame);
  while (status >= 0) {
    status = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (status < 0) break;
    if (!durations_.empty()) {
      packet_->duration = durations_.front();
      durations_.pop();
    }
    if (auto done = output_.write(*packet_, track_, encoder_->time_base, what); !done) return done;
  }
  if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return {};
  return ffmpegFailure(status, what, AVError::exportFailed);
}

}  // namespace vecamera::device::media
