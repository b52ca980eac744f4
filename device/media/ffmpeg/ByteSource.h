#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "VECamera/platform/Value.h"
#include "device/foundation/files/Descriptor.h"
#include "device/media/ffmpeg/Ffmpeg.h"

namespace vecamera::device::media {

/// The bytes of a movie, in a file or in memory, as FFmpeg reads them. Used on one thread.
class ByteSource {
 public:
  static MediaResult<std::unique_ptr<ByteSource>> open(const std::filesystem::path& file,
                                                       CancellationCheck isCancelled);
  /// Shares the bytes.
  explicit ByteSource(Data data);
  ~ByteSource();
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  std::int64_t size() const { return size_; }
  bool isCancelled() const { return isCancelled_ && isCancelled_(); }
  /// Ends FFmpeg's waiting and probing when the reader is cancelled.
  AVIOInterruptCB interrupt() { return {interruptCallback, &isCancelled_}; }
  /// The bytes as a stream with a position.
  AVIOContext* stream() const { return stream_; }
  /// The bytes from the offset on, whatever the stream's position is, in the buffer: fewer at the
  /// end.
  MediaResult<std::span<const std::uint8_t>> readAt(std::int64_t offset,
                                                    std::span<std::uint8_t> buffer) const;

 private:
  ByteSource(foundation::Descriptor file, std::int64_t size, CancellationCheck isCancelled);
  void openStream();
  /// How many bytes were read, or FFmpeg's error code.
  int readBytes(std::int64_t offset, std::uint8_t* into, int count) const;
  static int read(void* self, std::uint8_t* into, int count);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  const foundation::Descriptor file_;
  const Data data_;
  CancellationCheck isCancelled_;
  const std::int64_t size_;
  std::int64_t position_ = 0;
  AVIOContext* stream_ = nullptr;
};

}  // namespace vecamera::device::media
