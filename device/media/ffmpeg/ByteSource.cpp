#include "device/media/ffmpeg/ByteSource.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vecamera::device::media {

MediaResult<std::unique_ptr<ByteSource>> ByteSource::open(const std::filesystem::path& file,
                                                          CancellationCheck isCancelled) {
  auto opened = foundation::openFileForReading(file);
  if (opened)
    return std::unique_ptr<ByteSource>(new ByteSource(std::move(opened->descriptor),
                                                      static_cast<std::int64_t>(opened->size),
                                                      std::move(isCancelled)));
  const std::string name = "The movie \"" + file.filename().string() + "\"";
  const auto& error = opened.error();
  if (error.code == EISDIR || error.code == EINVAL)
    return mediaFailure(AVError::fileFormatNotRecognized, name + " is no file.");
  return mediaFailure(AVError::unknown, name + " cannot be opened: " + error.message + ".");
}

ByteSource::ByteSource(Data data)
    : data_(std::move(data)), size_(static_cast<std::int64_t>(data_.size())) {
  openStream();
}

ByteSource::ByteSource(foundation::Descriptor file, std::int64_t size,
                       CancellationCheck isCancelled)
    : file_(std::move(file)), isCancelled_(std::move(isCancelled)), size_(size) {
  openStream();
}

ByteSource::~ByteSource() {
  av_freep(&stream_->buffer);
  avio_context_free(&stream_);
}

void ByteSource::openStream() {
  constexpr int bufferBytes = 1 << 16;
  prepareFfmpeg();
  auto* const buffer = static_cast<std::uint8_t*>(allocated(av_malloc(bufferBytes)));
  stream_ = avio_alloc_context(buffer, bufferBytes, 0, this, read, nullptr, seek);
  if (stream_) return;
  av_free(buffer);
  throw std::bad_alloc();
}

MediaResult<std::span<const std::uint8_t>> ByteSource::readAt(
    std::int64_t offset, std::span<std::uint8_t> buffer) const {
  const int got = readBytes(offset, buffer.data(), static_cast<int>(buffer.size()));
  if (got < 0) return ffmpegFailure(got, "The movie cannot be read", AVError::unknown);
  return buffer.first(static_cast<std::size_t>(got));
}

int ByteSource::readBytes(std::int64_t offset, std::uint8_t* into, int count) const {
  if (isCancelled()) return AVERROR_EXIT;
  if (offset < 0 || offset >= size_) return 0;
  count = static_cast<int>(std::min<std::int64_t>(count, size_ - offset));
  if (!file_) {
    std::memcpy(into, data_.bytes().data() + offset, static_cast<std::size_t>(count));
    return count;
  }
  ssize_t got = -1;
  do {
    got = pread(file_.number(), into, static_cast<std::size_t>(count), offset);
  } while (got < 0 && errno == EINTR);
  return got < 0 ? AVERROR(errno) : static_cast<int>(got);
}

int ByteSource::read(void* self, std::uint8_t* into, int count) {
  auto& source = *static_cast<ByteSource*>(self);
  const int got = source.readBytes(source.position_, into, count);
  if (got > 0) source.position_ += got;
  return got == 0 ? AVERROR_EOF : got;
}

std::int64_t ByteSource::seek(void* self, std::int64_t offset, int whence) {
  auto& source = *static_cast<ByteSource*>(self);
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE: return source.size_;
    case SEEK_SET: break;
    case SEEK_CUR: offset += source.position_; break;
    case SEEK_END: offset += source.size_; break;
    default: return AVERROR(EINVAL);
  }
  if (offset < 0) return AVERROR(EINVAL);
  return source.position_ = offset;
}

}  // namespace vecamera::device::media
