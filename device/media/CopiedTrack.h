#pragma once

#include <cstdint>
#include <memory>

#include "device/media/MovieInput.h"
#include "device/media/MovieOutput.h"
#include "device/media/TrackWriter.h"

namespace vecamera::device::media {

/// Whether a track of the input already is what an exported movie holds, as far as its head tells.
bool fitsAsItIs(const MovieInput& input, const AVStream& track);

/// Copies the packets of a track. Used on one thread.
class CopiedTrack final : public TrackWriter {
 public:
  /// Null, with the reason in `error`, on failure.
  static std::unique_ptr<CopiedTrack> make(const MovieInput& input, const AVStream& source,
                                           MovieOutput& output, Outcome& error);

  /// Fails with `doesNotFit` set where the track turns out to need encoding: its format changes, an
  /// edit list cuts into it, its times cannot be written, or a picture is damaged so that even its
  /// parts are not whole.
  Outcome take(const AVPacket* packet) override;
  bool doesNotFit() const { return doesNotFit_; }

 private:
  CopiedTrack(const AVStream& source, AVStream& track, MovieOutput& output,
              std::int64_t startMicroseconds);
  bool isSound() const { return source_.codecpar->codec_type == AVMEDIA_TYPE_AUDIO; }
  Outcome refuse();

  const AVStream& source_;
  AVStream& track_;
  MovieOutput& output_;
  const std::int64_t startMicroseconds_;
  Packet packet_;
  std::int64_t written_ = 0;
  std::int64_t lastDts_ = INT64_MIN;
  bool isPastEnd_ = false;
  bool doesNotFit_ = false;
};

}  // namespace vecamera::device::media
