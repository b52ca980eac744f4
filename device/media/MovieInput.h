#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <variant>

#include "VECamera/platform/Value.h"
#include "device/imaging/base/Orientation.h"
#include "device/media/Ffmpeg.h"

namespace vecamera::device::media {

/// Asked often in long work; true ends it. May be empty.
using Cancelled = std::function<bool()>;

class ByteSource;

/// A movie that is read. It reads the bytes that it was given and no other file, whatever they
/// name. Used on one thread.
class MovieInput {
 public:
  using Opened = std::variant<std::unique_ptr<MovieInput>, NSError>;
  static Opened open(const std::filesystem::path& file, Cancelled cancelled);
  /// Shares the bytes.
  static Opened open(const Data& bytes);
  ~MovieInput();
  MovieInput(const MovieInput&) = delete;
  MovieInput& operator=(const MovieInput&) = delete;

  /// The first picture track that can be decoded; a cover picture is none.
  AVStream& picture() const { return *picture_; }
  /// The sound track to take, or null where there is none.
  AVStream* sound() const { return sound_; }
  /// What the container is: MPEG-4 or QuickTime, with its major brand; Matroska, of which WebM is
  /// one.
  bool isMpeg4() const;
  bool isMatroska() const;
  bool isWebM() const;
  std::string majorBrand() const;
  /// Whether the container keeps its streams as an MPEG-4 file would.
  bool canBeCopied() const { return isMpeg4() || isMatroska(); }

  /// When the first of the two tracks starts, in microseconds; what stands before is not shown.
  std::int64_t startMicroseconds() const;
  /// Of the whole movie, by its head; nothing where that does not tell.
  std::optional<std::int64_t> durationMicroseconds() const;
  /// The share of the file, from 0 to 1, that has been read.
  double shareRead() const;

  /// The next packet of the two tracks. `AVERROR_EOF` at the end, `AVERROR_EXIT` when cancelled;
  /// other negative values where the file is broken.
  int read(AVPacket& packet);

  /// Whether reading may fail at this place of a whole file: at its end, and anywhere in a
  /// recording that announces no length.
  bool mayEndHere() const;
  /// What says that the file ends early: a box, segment or chunk that goes beyond it, or nothing.
  Outcome cutShort() const;
  /// Creation time and the like.
  const AVDictionary* metadata() const { return context_->metadata; }

 private:
  struct Close {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };
  struct FreeIo {
    void operator()(AVIOContext* io) const;
  };

  explicit MovieInput(std::unique_ptr<ByteSource> bytes);
  static Opened open(std::unique_ptr<ByteSource> bytes);
  Outcome openContainer();
  Outcome findTracks();

  // In this order: each uses what stands before it, and is destroyed before that.
  std::unique_ptr<ByteSource> bytes_;
  std::unique_ptr<AVIOContext, FreeIo> io_;
  std::unique_ptr<AVFormatContext, Close> context_;
  AVStream* picture_ = nullptr;
  AVStream* sound_ = nullptr;
};

/// The error for a packet that is encrypted; nothing for all others.
Outcome encryptionOf(const AVPacket& packet);

/// A decoder of the stream; null, with the reason in `error`, where there is none.
Codec openDecoder(const AVStream& stream, Outcome& error);

/// The turn that shows the stream's pictures upright, by what stands beside them; the nearest one
/// for odd angles.
imaging::Orientation turnOf(const AVStream& stream);

/// The shape of a pixel, width by height; 1 by 1 where it is unknown or absurd.
AVRational pixelShape(const AVStream& stream);

/// Pictures a second for limits and rates, from 1 to 120; 30 where the stream's own is unknown.
AVRational nominalRate(const AVStream& stream);

}  // namespace vecamera::device::media
