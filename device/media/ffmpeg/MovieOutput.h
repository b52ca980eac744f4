#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "device/foundation/files/PartialFile.h"
#include "device/media/base/MovieFormats.h"
#include "device/media/ffmpeg/Ffmpeg.h"

namespace vecamera::device::media {

enum class IndexPosition { front, end };

/// A movie file that is written. Until it is finished it stands beside its target under a hidden
/// name, and it goes away with the object. Used on one thread.
class MovieOutput {
 public:
  /// The target must not exist.
  static MediaResult<std::unique_ptr<MovieOutput>> create(const std::filesystem::path& target,
                                                          const MovieFormat& format,
                                                          IndexPosition index,
                                                          CancellationCheck isCancelled);
  MovieOutput(const MovieOutput&) = delete;
  MovieOutput& operator=(const MovieOutput&) = delete;

  /// A new track. Tracks come before `begin`.
  AVStream& addTrack() { return *allocated(avformat_new_stream(context_.get(), nullptr)); }
  void setMetadata(const AVDictionary* metadata);
  MediaResult<void> begin();
  /// Takes the packet, with times in `timeBase`. `what` begins the description of an error.
  MediaResult<void> write(AVPacket& packet, const AVStream& track, AVRational timeBase,
                          const char* what);
  /// Whether a packet was refused for its times. It may be one that came long before the last, and
  /// of another track: packets wait for those of the others.
  bool hasRefusedTimes() const { return hasRefusedTimes_; }
  /// Completes the file and gives it its name.
  MediaResult<void> finish();

 private:
  static void close(AVFormatContext* context);

  MovieOutput(std::filesystem::path target, IndexPosition index, CancellationCheck isCancelled)
      : target_(std::move(target)), index_(index), isCancelled_(std::move(isCancelled)) {}
  MediaResult<void> open(const MovieFormat& format);

  const std::filesystem::path target_;
  const IndexPosition index_;
  CancellationCheck isCancelled_;
  bool hasRefusedTimes_ = false;
  std::optional<foundation::PartialFile> partial_;
  std::unique_ptr<AVFormatContext, Release<close>> context_;
};

}  // namespace vecamera::device::media
