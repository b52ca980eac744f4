#include "device/media/ffmpeg/MovieOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <random>
#include <system_error>

#include "device/foundation/PosixFiles.h"

namespace vecamera::device::media {
namespace {

std::string randomName() {
  std::random_device random;
  std::array<char, 32> name;
  std::snprintf(name.data(), name.size(), ".%08x%08x.tmp", random(), random());
  return name.data();
}

Failure<NSError> cannotWrite(const std::filesystem::path& target, int systemCode) {
  const std::string what = "The movie \"" + target.filename().string() + "\" cannot be written";
  if (systemCode == EEXIST)
    return mediaFailure(AVError::fileAlreadyExists, what + ": a file of that name exists.");
  return libraryFailure(AVERROR(systemCode), what, AVError::unknown);
}

/// Renames, but onto nothing.
int renameFresh(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  // Some file systems do not know the flag; the target was looked for before.
  if (errno != EINVAL && errno != ENOSYS) return errno;
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

}  // namespace

void MovieOutput::Free::operator()(AVFormatContext* context) const {
  avio_closep(&context->pb);
  avformat_free_context(context);
}

MovieOutput::~MovieOutput() {
  context_.reset();
  if (!partial_.empty()) unlink(partial_.c_str());
}

MediaResult<std::unique_ptr<MovieOutput>> MovieOutput::create(const std::filesystem::path& target,
                                                              FileFormat format,
                                                              IndexPosition index,
                                                              CancellationCheck isCancelled) {
  prepareLibraries();
  std::unique_ptr<MovieOutput> output(new MovieOutput(target, index, std::move(isCancelled)));
  if (auto opened = output->open(format); !opened) return std::move(opened).failure();
  return output;
}

MediaResult<void> MovieOutput::open(FileFormat format) {
  struct stat existing;
  if (lstat(target_.c_str(), &existing) == 0) return cannotWrite(target_, EEXIST);
  // FFmpeg opens the file by its name and leaves the mode of one that exists.
  const auto partial = target_.parent_path() / randomName();
  if (!foundation::openAt(AT_FDCWD, partial.native(), O_WRONLY | O_CREAT | O_EXCL, 0600))
    return cannotWrite(target_, errno);
  partial_ = partial;
  const std::string url = "file:" + partial.native();
  AVFormatContext* context = nullptr;
  int status = avformat_alloc_output_context2(
      &context, nullptr, format == FileFormat::mpeg4 ? "mp4" : "mov", url.c_str());
  if (context) {
    context_.reset(context);
    context->interrupt_callback = {interruptCallback, &isCancelled_};
    context->flags |= AVFMT_FLAG_BITEXACT;
    // How long packets wait for those of a track that has none for a while.
    context->max_interleave_delta = AV_TIME_BASE;
    status = avio_open2(&context->pb, url.c_str(), AVIO_FLAG_WRITE, &context->interrupt_callback,
                        nullptr);
  }
  if (status < 0) return libraryFailure(status, "The movie cannot be written", AVError::unknown);
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
  if (begun < 0) return libraryFailure(begun, "The movie cannot be written", AVError::exportFailed);
  return {};
}

int MovieOutput::write(AVPacket& packet, const AVStream& track, AVRational timeBase) {
  packet.stream_index = track.index;
  packet.pos = -1;
  av_packet_rescale_ts(&packet, timeBase, track.time_base);
  const int done = av_interleaved_write_frame(context_.get(), &packet);
  if (done == AVERROR(EINVAL)) hasRefusedTimes_ = true;
  return done;
}

MediaResult<void> MovieOutput::finish() {
  int status = av_write_trailer(context_.get());
  if (status == AVERROR(EINVAL)) hasRefusedTimes_ = true;
  if (status >= 0 && context_->pb->error < 0) status = context_->pb->error;
  const int closed = avio_closep(&context_->pb);
  if (status >= 0) status = closed;
  if (status < 0)
    return libraryFailure(status, "The movie cannot be written", AVError::exportFailed);
  if (const int renamed = renameFresh(partial_, target_)) return cannotWrite(target_, renamed);
  partial_.clear();
  return {};
}

}  // namespace vecamera::device::media
