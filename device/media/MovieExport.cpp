#include "device/media/MovieExport.h"

#include <algorithm>
#include <exception>
#include <memory>

#include "device/media/ffmpeg/MovieInput.h"
#include "device/media/ffmpeg/MovieOutput.h"
#include "device/media/transcode/TrackWriter.h"

namespace vecamera::device::media {
namespace {

/// Reports rising fractions, in steps that are worth a call.
class Progress {
 public:
  explicit Progress(const std::function<void(float)>& onProgress) : onProgress_(onProgress) {}

  void report(double fraction) {
    constexpr float step = 0.002f;
    const auto value = static_cast<float>(std::clamp(fraction, 0.0, 1.0));
    if (value < last_ + step && value < 1) return;
    last_ = value;
    if (onProgress_) onProgress_(value);
  }

 private:
  const std::function<void(float)>& onProgress_;
  float last_ = 0;
};

/// The tracks to copy where they fit.
struct Copies {
  bool video = true;
  bool audio = true;
  friend bool operator==(const Copies&, const Copies&) = default;
};

/// One attempt at an export.
class Export {
 public:
  Export(const ExportOptions& options, Progress& progress)
      : options_(options), progress_(progress) {}

  MediaResult<void> run(const std::filesystem::path& source, const std::filesystem::path& target,
                        const Copies& copies) {
    auto opened = MovieInput::open(source, options_.isCancelled);
    if (!opened) return std::move(opened).failure();
    input_ = std::move(*opened);
    const auto isTruncated = input_->isTruncated();
    if (!isTruncated) return isTruncated.failure();
    if (*isTruncated)
      return mediaFailure(AVError::fileFailedToParse,
                          "The movie cannot be read: the file ends before its contents do.");
    auto created =
        MovieOutput::create(target, mpeg4Format, IndexPosition::front, options_.isCancelled);
    if (!created) return std::move(created).failure();
    output_ = std::move(*created);
    output_->setMetadata(input_->metadata());
    if (auto done = openTracks(copies); !done) return done;
    if (auto done = output_->begin(); !done) return done;
    if (auto done = readAll(); !done) return done;
    for (TrackWriter* track : {video_.get(), audio_.get()}) {
      if (!track) continue;
      if (auto done = track->write(nullptr); !done) return done;
    }
    return output_->finish();
  }

  /// Stops copying the tracks that turned out unfit. False if there are none.
  bool removeUnfit(Copies& copies) const {
    const Copies before = copies;
    copies.video &= !(video_ && video_->mustBeEncoded());
    copies.audio &= !(audio_ && audio_->mustBeEncoded());
    return copies != before;
  }

 private:
  MediaResult<void> openTracks(const Copies& copies) {
    auto video = copies.video && fitsAsItIs(*input_, input_->video())
                     ? copyTrack(*input_, input_->video(), *output_)
                     : transcodeVideo(*input_, *output_);
    if (!video) return std::move(video).failure();
    video_ = std::move(*video);
    if (!input_->audio()) return {};
    auto audio = copies.audio && fitsAsItIs(*input_, *input_->audio())
                     ? copyTrack(*input_, *input_->audio(), *output_)
                     : transcodeAudio(*input_, *output_);
    if (!audio) return std::move(audio).failure();
    audio_ = std::move(*audio);
    return {};
  }

  MediaResult<void> readAll() {
    const Packet packet = newPacket();
    for (;;) {
      auto read = input_->read(*packet);
      if (!read) return std::move(read).failure();
      if (*read == MovieInput::ReadResult::end) return {};
      // Only a part of a packet, as where the file ends in it. Elsewhere a broadcast lost the rest,
      // which the decoders cope with.
      if (input_->isMpeg4() && packet->flags & AV_PKT_FLAG_CORRUPT)
        return damagedMovie(AVERROR_INVALIDDATA);
      const bool isAudio = input_->audio() && packet->stream_index == input_->audio()->index;
      if (auto done = (isAudio ? audio_ : video_)->write(packet.get()); !done) return done;
      reportProgress(*packet);
    }
  }

  void reportProgress(const AVPacket& packet) {
    // The rest is left for the move of the index to the front.
    constexpr double readingFraction = 0.97;
    double fraction = input_->fractionRead();
    if (const auto whole = input_->durationMicroseconds(); whole && packet.pts != AV_NOPTS_VALUE) {
      const AVStream& track = input_->audio() && packet.stream_index == input_->audio()->index
                                  ? *input_->audio()
                                  : input_->video();
      const std::int64_t at = rescaled(packet.pts, track.time_base, microseconds);
      fraction =
          static_cast<double>(at - input_->startMicroseconds()) / static_cast<double>(*whole);
    }
    progress_.report(std::min(fraction, 1.0) * readingFraction);
  }

  const ExportOptions& options_;
  Progress& progress_;
  std::unique_ptr<MovieInput> input_;
  std::unique_ptr<MovieOutput> output_;
  std::unique_ptr<TrackWriter> video_;
  std::unique_ptr<TrackWriter> audio_;
};

}  // namespace

MediaResult<void> exportMovie(const std::filesystem::path& source,
                              const std::filesystem::path& target, const ExportOptions& options) {
  const bool mayCopy = options.streams == ExportOptions::Streams::copyWhereFitting;
  Copies copies{mayCopy, mayCopy};
  Progress progress(options.onProgress);
  try {
    for (;;) {
      Export attempt(options, progress);
      auto done = attempt.run(source, target, copies);
      if (done) progress.report(1);
      // What was cut off in a read looks like damage, or like no movie at all.
      if (!done && options.isCancelled && options.isCancelled()) return damagedMovie(AVERROR_EXIT);
      if (done || !attempt.removeUnfit(copies)) return done;
    }
  } catch (const std::exception& thrown) {
    return mediaFailure(thrown);
  }
}

}  // namespace vecamera::device::media
