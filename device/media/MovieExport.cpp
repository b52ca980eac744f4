#include "device/media/MovieExport.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>
#include <variant>

#include "device/media/CopiedTrack.h"
#include "device/media/MovieInput.h"
#include "device/media/MovieOutput.h"
#include "device/media/PictureTranscoder.h"
#include "device/media/SoundTranscoder.h"

namespace vecamera::device::media {
namespace {

/// Passes rising shares on, in steps that are worth a call.
class Progress {
 public:
  explicit Progress(const std::function<void(float)>& told) : told_(told) {}

  void reach(double share) {
    constexpr float step = 0.002f;
    const auto value = static_cast<float>(std::clamp(share, 0.0, 1.0));
    if (value < last_ + step && value < 1) return;
    last_ = value;
    if (told_) told_(value);
  }

 private:
  const std::function<void(float)>& told_;
  float last_ = 0;
};

/// The tracks to copy where they fit.
struct Copies {
  bool picture = true;
  bool sound = true;
};

/// One try at an export.
class Export {
 public:
  Export(const ExportOptions& options, Progress& progress)
      : options_(options), progress_(progress) {}

  Outcome run(const std::filesystem::path& source, const std::filesystem::path& target,
              const Copies& copies);
  /// Takes from the copies what, by the failure, must be encoded; false where that says nothing of
  /// the kind.
  bool narrow(Copies& copies) const;

 private:
  Outcome openTracks(const Copies& copies);
  Outcome readAll();
  void noteProgress(const AVPacket& packet);
  bool isCancelled() const { return options_.cancelled && options_.cancelled(); }

  const ExportOptions& options_;
  Progress& progress_;
  std::unique_ptr<MovieInput> input_;
  std::unique_ptr<MovieOutput> output_;
  std::unique_ptr<TrackWriter> picture_;
  std::unique_ptr<TrackWriter> sound_;
  /// Which of the two only copy; else null.
  const CopiedTrack* copiedPicture_ = nullptr;
  const CopiedTrack* copiedSound_ = nullptr;
};

Outcome Export::run(const std::filesystem::path& source, const std::filesystem::path& target,
                    const Copies& copies) {
  auto opened = MovieInput::open(source, options_.cancelled);
  if (auto* error = std::get_if<NSError>(&opened)) return std::move(*error);
  input_ = std::move(std::get<0>(opened));
  if (auto error = input_->cutShort()) return error;
  auto created =
      MovieOutput::create(target, Container::mpeg4, IndexPlace::front, options_.cancelled);
  if (auto* error = std::get_if<NSError>(&created)) return std::move(*error);
  output_ = std::move(std::get<0>(created));
  output_->setMetadata(input_->metadata());
  if (auto error = openTracks(copies)) return error;
  if (auto error = output_->begin()) return error;
  if (auto error = readAll()) return error;
  for (TrackWriter* track : {picture_.get(), sound_.get()}) {
    if (!track) continue;
    if (auto error = track->take(nullptr)) return error;
  }
  return output_->finish();
}

bool Export::narrow(Copies& copies) const {
  const auto mustEncode = [this](const CopiedTrack* track) {
    return track && (track->doesNotFit() || (output_ && output_->hasRefusedTimes()));
  };
  const Copies before = copies;
  copies.picture &= !mustEncode(copiedPicture_);
  copies.sound &= !mustEncode(copiedSound_);
  return copies.picture != before.picture || copies.sound != before.sound;
}

Outcome Export::openTracks(const Copies& copies) {
  Outcome error;
  const auto copied = [&](const AVStream& source, const CopiedTrack*& noted) {
    auto track = CopiedTrack::make(*input_, source, *output_, error);
    noted = track.get();
    return track;
  };
  if (copies.picture && fitsAsItIs(*input_, input_->picture()))
    picture_ = copied(input_->picture(), copiedPicture_);
  else
    picture_ = PictureTranscoder::make(*input_, *output_, error);
  if (!picture_ || !input_->sound()) return error;
  if (copies.sound && fitsAsItIs(*input_, *input_->sound()))
    sound_ = copied(*input_->sound(), copiedSound_);
  else
    sound_ = SoundTranscoder::make(*input_, *output_, error);
  return error;
}

Outcome Export::readAll() {
  const Packet packet(av_packet_alloc());
  if (!packet) return libraryError(AVERROR(ENOMEM), "The movie cannot be read", AVError::unknown);
  int done = 0;
  while ((done = input_->read(*packet)) >= 0) {
    if (auto error = encryptionOf(*packet)) return error;
    // A piece of a packet, as where the file ends in it. Elsewhere it is what a broadcast lost on
    // its way, which the decoders cope with.
    if (input_->isMpeg4() && packet->flags & AV_PKT_FLAG_CORRUPT) {
      done = AVERROR_INVALIDDATA;
      break;
    }
    const bool isSound = input_->sound() && packet->stream_index == input_->sound()->index;
    if (auto error = (isSound ? sound_ : picture_)->take(packet.get())) return error;
    noteProgress(*packet);
  }
  // A cancelled read may look like the end of the file.
  if (isCancelled()) done = AVERROR_EXIT;
  // The index of an MPEG-4 file names what must be there. Of a recording without one, what can be
  // read is all that there is.
  const bool isEnd =
      done == AVERROR_EOF || (done != AVERROR_EXIT && !input_->isMpeg4() && input_->mayEndHere());
  if (isEnd) return std::nullopt;
  return libraryError(done, "The movie is damaged", AVError::fileFailedToParse);
}

void Export::noteProgress(const AVPacket& packet) {
  // The rest is left for the move of the index to the front.
  constexpr double shareOfReading = 0.97;
  double share = input_->shareRead();
  if (const auto whole = input_->durationMicroseconds(); whole && packet.pts != AV_NOPTS_VALUE) {
    const AVStream& track = input_->sound() && packet.stream_index == input_->sound()->index
                                ? *input_->sound()
                                : input_->picture();
    const std::int64_t at = rescaled(packet.pts, track.time_base, microseconds);
    share = static_cast<double>(at - input_->startMicroseconds()) / static_cast<double>(*whole);
  }
  progress_.reach(std::min(share, 1.0) * shareOfReading);
}

}  // namespace

std::optional<NSError> exportMovie(const std::filesystem::path& source,
                                   const std::filesystem::path& target,
                                   const ExportOptions& options) {
  const bool mayCopy = options.streams == ExportOptions::Streams::copyWhereFitting;
  Copies copies{mayCopy, mayCopy};
  Progress progress(options.progress);
  try {
    for (;;) {
      Export attempt(options, progress);
      auto error = attempt.run(source, target, copies);
      if (!error) progress.reach(1);
      if (!error || !attempt.narrow(copies)) return error;
    }
  } catch (const std::exception& thrown) {
    return mediaError(thrown);
  }
}

}  // namespace vecamera::device::media
