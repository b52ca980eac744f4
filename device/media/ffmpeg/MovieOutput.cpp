#include "device/media/ffmpeg/MovieOutput.h"

#include <sys/stat.h>

#include <cerrno>

namespace vecamera::device::media {
namespace {

Failure<NSError> cannotWrite(const std::filesystem::path& target, int systemCode) {
  const std::string what = "The movie \"" + target.filename().string() + "\" cannot be written";
  if (systemCode == EEXIST)
    return mediaFailure(AVError::fileAlreadyExists, what + ": a file of that name exists.");
  return ffmpegFailure(AVERROR(systemCode), what, AVError::unknown);
}

}  // namespace

void MovieOutput::close(AVFormatContext* context) {
  avio_closep(&context->pb);
  avformat_free_context(context);
}

MediaResult<std::unique_ptr<MovieOutput>> MovieOutput::create(const std::filesystem::path& target,
                                                              const MovieFormat& format,
                                                              IndexPosition index,
                                                              CancellationCheck isCancelled) {
  prepareFfmpeg();
  std::unique_ptr<MovieOutput> output(new MovieOutput(target, index, std::move(isCancelled)));
  if (auto opened = output->open(format); !opened) return std::move(opened).failure();
  return output;
}

MediaResult<void> MovieOutput::open(const MovieFormat& format) {
  struct stat existing;
  if (lstat(target_.c_str(), &existing) == 0) return cannotWrite(target_, EEXIST);
  // FFmpeg opens the file by its name and leaves the mode of one that exists.
  foundation::removeAbandonedFiles(target_.parent_path());
  auto partial = foundation::PartialFile::createBeside(target_);
  if (!partial) return cannotWrite(target_, partial.error().code);
  partial_.emplace(*std::move(partial));
  const std::string url = "file:" + partial_->path().native();
  AVFormatContext* context = nullptr;
  // FFmpeg's writers have the names of the extensions.
  int status = avformat_alloc_output_context2(
      &context, nullptr, std::string(format.fileExtension).c_str(), url.c_str());
  if (context) {
    context_.reset(context);
    context->interrupt_callback = {interruptCallback, &isCancelled_};
    context->flags |= AVFMT_FLAG_BITEXACT;
    // How long packets wait for those of a track that has none for a while.
    context->max_interleave_delta = AV_TIME_BASE;
    status = avio_open2(&context->pb, url.c_str(), AVIO_FLAG_WRITE, &context->interrupt_callback,
                        nullptr);
  }
  if (status < 0) return ffmpegFailure(status, "The movie cannot be written", AVError::unknown);
  return {};
}

void MovieOutput::setMetadata(const AVDictionary* metadata) {
  const AVDictionaryEntry* const created = av_dict_get(metadata, "creation_time", nullptr, 0);
  if (created) av_dict_set(&context_->metadata, "creation_time", created->value, 0);
}

MediaResult<void> MovieOutput::begin() {
  AVDictionary* options = nullptr;
  if (index_ == IndexPosition::front) av_dict_set(&options, "movflags", "+faststart", 0);
  const int begun = avformat_write_header(context_.get(), &options);
  av_dict_free(&options);
  if (begun < 0) return ffmpegFailure(begun, "The movie cannot be written", AVError::exportFailed);
  return {};
}

MediaResult<void> MovieOutput::write(AVPacket& packet, const AVStream& track, AVRational timeBase,
                                     const char* what) {
  packet.stream_index = track.index;
  packet.pos = -1;
  av_packet_rescale_ts(&packet, timeBase, track.time_base);
  const int status = av_interleaved_write_frame(context_.get(), &packet);
  if (status == AVERROR(EINVAL)) hasRefusedTimes_ = true;
  if (status < 0) return ffmpegFailure(status, what, AVError::exportFailed);
  return {};
}

MediaResult<void> MovieOutput::finish() {
  int status = av_write_trailer(context_.get());
  if (status == AVERROR(EINVAL)) hasRefusedTimes_ = true;
  if (status >= 0 && context_->pb->error < 0) status = context_->pb->error;
  const int closed = avio_closep(&context_->pb);
  if (status >= 0) status = closed;
  if (status < 0)
    return ffmpegFailure(status, "The movie cannot be written", AVError::exportFailed);
  const auto moved = partial_->moveTo(target_, foundation::PartialFile::IfTaken::fail);
  if (!moved) return cannotWrite(target_, moved.error().code);
  return {};
}

}  // namespace vecamera::device::media
