#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <queue>
#include <string>
#include <variant>

#include "device/foundation/files/PartialFile.h"
#include "device/media/Ffmpeg.h"
#include "device/media/MovieInput.h"

namespace vecamera::device::media {

enum class Container { mpeg4, quickTime };
enum class IndexPlace { front, end };

/// A movie file that is written. Until it is finished it stands beside its target under a hidden
/// name, and it goes away with the object. Used on one thread.
class MovieOutput {
 public:
  using Created = std::variant<std::unique_ptr<MovieOutput>, NSError>;
  /// The target must not exist.
  static Created create(const std::filesystem::path& target, Container container, IndexPlace index,
                        Cancelled cancelled);
  ~MovieOutput();
  MovieOutput(const MovieOutput&) = delete;
  MovieOutput& operator=(const MovieOutput&) = delete;

  /// A new track, or null without memory. Tracks come before `begin`.
  AVStream* addTrack();
  void setMetadata(const AVDictionary* metadata);
  Outcome begin();
  /// Takes the packet, with times in `timeBase`. Negative as FFmpeg's errors.
  int write(AVPacket& packet, const AVStream& track, AVRational timeBase);
  /// Whether a packet was refused for its times. It may be one that came long before the last, and
  /// of another track: packets wait for those of the others.
  bool hasRefusedTimes() const { return hasRefusedTimes_; }
  /// Completes the file and gives it its name.
  Outcome finish();

 private:
  struct Free {
    void operator()(AVFormatContext* context) const;
  };

  MovieOutput(std::filesystem::path target, Cancelled cancelled)
      : target_(std::move(target)), cancelled_(std::move(cancelled)) {}
  Outcome open(Container container, IndexPlace index);

  const std::filesystem::path target_;
  const Cancelled cancelled_;
  IndexPlace index_ = IndexPlace::front;
  bool hasRefusedTimes_ = false;
  std::optional<foundation::PartialFile> partial_;
  std::unique_ptr<AVFormatContext, Free> context_;
};

/// An encoder and the track that its packets go to.
class EncodedTrack {
 public:
  EncodedTrack(Codec encoder, AVStream& track, MovieOutput& output)
      : encoder_(std::move(encoder)), track_(track), output_(output), packet_(av_packet_alloc()) {}

  const AVCodecContext& encoder() const { return *encoder_; }
  AVStream& track() { return track_; }
  /// Takes a frame with its time and, for pictures, its duration in the encoder's time base; null
  /// ends the track.
  Outcome encode(const AVFrame* frame);

 private:
  Codec encoder_;
  AVStream& track_;
  MovieOutput& output_;
  Packet packet_;
  /// Of the pictures within the encoder, which does not carry them.
  std::queue<std::int64_t> durations_;
};

struct PictureSettings {
  int width = 0;
  int height = 0;
  AVRational pixelShape{1, 1};
  AVRational rate{30, 1};
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
  /// One thread gives the same bytes for the same pictures.
  int threads = 2;
  const char* preset = "veryfast";
  int quality = 20;
};

/// H.264 from limited-range yuv420p, and AAC from planar float. Null, with the reason in `error`,
/// on failure. The output's other tracks are not touched.
std::unique_ptr<EncodedTrack> addPictureTrack(MovieOutput& output, const PictureSettings& settings,
                                              Outcome& error);
std::unique_ptr<EncodedTrack> addSoundTrack(MovieOutput& output, int rate, int channels,
                                            Outcome& error);

/// The time base of encoded pictures.
inline constexpr AVRational pictureTimeBase{1, 90000};

}  // namespace vecamera::device::media
