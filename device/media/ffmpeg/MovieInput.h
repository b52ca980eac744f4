#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "VECamera/platform/Value.h"
#include "device/imaging/base/Orientation.h"
#include "device/media/ffmpeg/ByteSource.h"
#include "device/media/ffmpeg/Ffmpeg.h"

namespace vecamera::device::media {

/// A movie that is read. It reads the bytes that it was given and no other file, whatever they
/// name. Used on one thread.
class MovieInput {
 public:
  static MediaResult<std::unique_ptr<MovieInput>> open(const std::filesystem::path& file,
                                                       CancellationCheck isCancelled);
  /// Shares the bytes.
  static MediaResult<std::unique_ptr<MovieInput>> open(const Data& bytes);

  /// The first video track that can be decoded; a cover picture is none.
  AVStream& video() const { return *video_; }
  /// The audio track to take, or null where there is none.
  AVStream* audio() const { return audio_; }
  /// What the format is: MPEG-4 or QuickTime, with its major brand; Matroska, of which WebM is
  /// one.
  bool isMpeg4() const { return isFormat("mov"); }
  bool isMatroska() const { return isFormat("matroska"); }
  MediaResult<bool> isWebM() const;
  std::string majorBrand() const;
  /// Whether the format keeps its streams as an MPEG-4 file would.
  bool canBeCopied() const { return isMpeg4() || isMatroska(); }

  /// When the first of the two tracks starts, in microseconds; what stands before is not shown.
  std::int64_t startMicroseconds() const;
  /// Of the whole movie, by its head; nothing where that has none.
  std::optional<std::int64_t> durationMicroseconds() const;
  /// The fraction of the file, from 0 to 1, that has been read.
  double fractionRead() const;

  enum class ReadResult { packet, end };
  /// Reads the next packet of the two tracks. Fails when cancelled, for an encrypted packet, and
  /// where the file is broken.
  MediaResult<ReadResult> read(AVPacket& packet);

  /// Whether the file ends early: a box, segment or chunk goes beyond it.
  MediaResult<bool> isTruncated() const;
  /// Creation time and the like.
  const AVDictionary* metadata() const { return context_->metadata; }

 private:
  explicit MovieInput(std::unique_ptr<ByteSource> bytes) : bytes_(std::move(bytes)) {}
  static MediaResult<std::unique_ptr<MovieInput>> open(std::unique_ptr<ByteSource> bytes);
  MediaResult<void> openFormat();
  MediaResult<void> findTracks();
  bool isFormat(const char* name) const;
  bool mayEndHere() const;
  Failure<NSError> failure(int code, const std::string& what, AVError otherwise) const;

  /// Outlives the context, which reads it.
  const std::unique_ptr<ByteSource> bytes_;
  std::unique_ptr<AVFormatContext, Release<avformat_close_input>> context_;
  AVStream* video_ = nullptr;
  AVStream* audio_ = nullptr;
};

/// The error for a file whose reading stopped with FFmpeg's code.
Failure<NSError> damagedMovie(int code);

MediaResult<Codec> openDecoder(const AVStream& stream);

/// The orientation that shows the stream's frames upright, by its display matrix; the nearest one
/// for odd angles.
imaging::Orientation orientationOf(const AVStream& stream);

/// Width by height of a pixel; 1 by 1 where it is unknown or absurd.
AVRational pixelAspectRatio(const AVStream& stream);

/// Frames a second for limits and rates, from 1 to 120; 30 where the stream's own is unknown.
AVRational nominalFrameRate(const AVStream& stream);

}  // namespace vecamera::device::media
