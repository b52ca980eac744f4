#include "device/media/MovieOutput.h"

extern "C" {
#include <libavutil/opt.h>
}
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vecamera::device::media {
namespace {

int interrupt(void* cancelled) {
  const auto& asked = *static_cast<const Cancelled*>(cancelled);
  return asked && asked();
}

NSError cannotWrite(const std::filesystem::path& target, int systemCode) {
  const std::string what = "The movie \"" + target.filename().string() + "\" cannot be written";
  if (systemCode == EEXIST)
    return mediaError(AVError::fileAlreadyExists, what + ": a file of that name exists.");
  return libraryError(AVERROR(systemCode), what, AVError::unknown);
}

Codec openEncoder(const AVCodec* encoder, Codec codec, Outcome& error, const char* what) {
  // The file tells how to decode, not each packet.
  codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
  const int opened = avcodec_open2(codec.get(), encoder, nullptr);
  if (opened >= 0) return codec;
  error = libraryError(opened, what, AVError::exportFailed);
  return nullptr;
}

std::unique_ptr<EncodedTrack> addTrack(MovieOutput& output, Codec encoder, Outcome& error) {
  if (!encoder) return nullptr;
  AVStream* const track = output.addTrack();
  const int copied =
      track ? avcodec_parameters_from_context(track->codecpar, encoder.get()) : AVERROR(ENOMEM);
  if (copied < 0) {
    error = libraryError(copied, "The movie cannot be written", AVError::exportFailed);
    return nullptr;
  }
  track->time_base = encoder->time_base;
  track->sample_aspect_ratio = encoder->sample_aspect_ratio;
  track->avg_frame_rate = encoder->framerate;
  return std::make_unique<EncodedTrack>(std::move(encoder), *track, output);
}

Codec newEncoder(const AVCodec* encoder, Outcome& error, const char* name) {
  Codec codec(encoder ? avcodec_alloc_context3(encoder) : nullptr);
  if (!codec)
    error = mediaError(AVError::exportFailed, std::string("There is no encoder for ") + name + ".");
  return codec;
}

}  // namespace

void MovieOutput::Free::operator()(AVFormatContext* context) const {
  avio_closep(&context->pb);
  avformat_free_context(context);
}

MovieOutput::~MovieOutput() = default;

MovieOutput::Created MovieOutput::create(const std::filesystem::path& target, Container container,
                                         IndexPlace index, Cancelled cancelled) {
  prepareLibraries();
  std::unique_ptr<MovieOutput> output(new MovieOutput(target, std::move(cancelled)));
  if (auto error = output->open(container, index)) return std::move(*error);
  return output;
}

Outcome MovieOutput::open(Container container, IndexPlace index) {
  index_ = index;
  struct stat status;
  if (lstat(target_.c_str(), &status) == 0) return cannotWrite(target_, EEXIST);
  // FFmpeg opens the file by its name and leaves the mode of one that exists.
  foundation::removeAbandonedFiles(target_.parent_path());
  auto partial = foundation::PartialFile::createBeside(target_);
  if (!partial) return cannotWrite(target_, partial.error().code);
  partial_.emplace(*std::move(partial));
  const std::string url = "file:" + partial_->path().native();
  AVFormatContext* context = nullptr;
  int failure = avformat_alloc_output_context2(
      &context, nullptr, container == Container::mpeg4 ? "mp4" : "mov", url.c_str());
  if (context) {
    context_.reset(context);
    context->interrupt_callback = {interrupt, const_cast<Cancelled*>(&cancelled_)};
    context->flags |= AVFMT_FLAG_BITEXACT;
    // How long packets wait for those of a track that has none for a while.
    context->max_interleave_delta = AV_TIME_BASE;
    failure = avio_open2(&context->pb, url.c_str(), AVIO_FLAG_WRITE, &context->interrupt_callback,
                         nullptr);
  }
  if (failure < 0) return libraryError(failure, "The movie cannot be written", AVError::unknown);
  return std::nullopt;
}

AVStream* MovieOutput::addTrack() {
  return avformat_new_stream(context_.get(), nullptr);
}

void MovieOutput::setMetadata(const AVDictionary* metadata) {
  const AVDictionaryEntry* const created = av_dict_get(metadata, "creation_time", nullptr, 0);
  if (created) av_dict_set(&context_->metadata, "creation_time", created->value, 0);
}

Outcome MovieOutput::begin() {
  AVDictionary* options = nullptr;
  if (index_ == IndexPlace::front) av_dict_set(&options, "movflags", "+faststart", 0);
  const int begun = avformat_write_header(context_.get(), &options);
  av_dict_free(&options);
  if (begun < 0) return libraryError(begun, "The movie cannot be written", AVError::exportFailed);
  return std::nullopt;
}

int MovieOutput::write(AVPacket& packet, const AVStream& track, AVRational timeBase) {
  packet.stream_index = track.index;
  packet.pos = -1;
  av_packet_rescale_ts(&packet, timeBase, track.time_base);
  const int done = av_interleaved_write_frame(context_.get(), &packet);
  if (done == AVERROR(EINVAL)) hasRefusedTimes_ = true;
  return done;
}

Outcome MovieOutput::finish() {
  int failure = av_write_trailer(context_.get());
  if (failure == AVERROR(EINVAL)) hasRefusedTimes_ = true;
  if (failure >= 0 && context_->pb->error < 0) failure = context_->pb->error;
  const int closed = avio_closep(&context_->pb);
  if (failure >= 0) failure = closed;
  if (failure < 0)
    return libraryError(failure, "The movie cannot be written", AVError::exportFailed);
  const auto moved = partial_->moveTo(target_, foundation::PartialFile::IfTaken::fail);
  if (!moved) return cannotWrite(target_, moved.error().code);
  return std::nullopt;
}

Outcome EncodedTrack::encode(const AVFrame* frame) {
  if (!packet_) return libraryError(AVERROR(ENOMEM), "No memory", AVError::outOfMemory);
  if (frame && frame->width > 0) durations_.push(frame->pkt_duration);
  int done = avcodec_send_frame(encoder_.get(), frame);
  while (done >= 0) {
    done = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (done < 0) break;
    if (!durations_.empty()) {
      packet_->duration = durations_.front();
      durations_.pop();
    }
    done = output_.write(*packet_, track_, encoder_->time_base);
  }
  if (done >= 0 || done == AVERROR(EAGAIN) || done == AVERROR_EOF) return std::nullopt;
  return libraryError(done, "The movie cannot be encoded", AVError::exportFailed);
}

std::unique_ptr<EncodedTrack> addPictureTrack(MovieOutput& output, const PictureSettings& settings,
                                              Outcome& error) {
  const AVCodec* const x264 = avcodec_find_encoder_by_name("libx264");
  Codec codec = newEncoder(x264, error, "H.264");
  if (!codec) return nullptr;
  codec->width = settings.width;
  codec->height = settings.height;
  codec->pix_fmt = AV_PIX_FMT_YUV420P;
  codec->time_base = pictureTimeBase;
  // Times are told with each picture; this one only sets rate control and level.
  codec->framerate = settings.rate;
  codec->sample_aspect_ratio = settings.pixelShape;
  codec->color_range = AVCOL_RANGE_MPEG;
  codec->color_primaries = settings.primaries;
  codec->color_trc = settings.transfer;
  codec->colorspace = settings.space;
  codec->gop_size = 60;
  // Without pictures out of order, a track needs no edit list to be in step with the sound.
  codec->max_b_frames = 0;
  codec->thread_count = settings.threads;
  av_opt_set(codec->priv_data, "profile", "high", 0);
  av_opt_set(codec->priv_data, "preset", settings.preset, 0);
  av_opt_set_int(codec->priv_data, "crf", settings.quality, 0);
  // Pictures that the encoder holds: each is 13 MB at the largest size.
  av_opt_set_int(codec->priv_data, "rc-lookahead", 10, 0);
  codec = openEncoder(x264, std::move(codec), error, "The pictures cannot be encoded");
  return addTrack(output, std::move(codec), error);
}

std::unique_ptr<EncodedTrack> addSoundTrack(MovieOutput& output, int rate, int channels,
                                            Outcome& error) {
  constexpr int bitsPerChannel = 96000;
  const AVCodec* const aac = avcodec_find_encoder_by_name("aac");
  Codec codec = newEncoder(aac, error, "AAC");
  if (!codec) return nullptr;
  codec->sample_rate = rate;
  codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
  av_channel_layout_default(&codec->ch_layout, channels);
  codec->bit_rate = bitsPerChannel * channels;
  codec->time_base = {1, rate};
  codec->thread_count = 1;
  codec = openEncoder(aac, std::move(codec), error, "The sound cannot be encoded");
  return addTrack(output, std::move(codec), error);
}

}  // namespace vecamera::device::media
