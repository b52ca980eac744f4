#include <cstdint>
#include <cstring>

#include "device/media/transcode/TrackWriter.h"

namespace vecamera::device::media {
namespace {

bool isPlayableVideo(const AVCodecParameters& video) {
  constexpr std::uint32_t inBandParameters = MKTAG('a', 'v', 'c', '3');
  constexpr int maxLevel = 52;
  constexpr int maxSide = 4096;
  const bool isProfilePlayable = video.profile == FF_PROFILE_H264_BASELINE ||
                                 video.profile == FF_PROFILE_H264_CONSTRAINED_BASELINE ||
                                 video.profile == FF_PROFILE_H264_MAIN ||
                                 video.profile == FF_PROFILE_H264_HIGH;
  const bool isProgressive =
      video.field_order == AV_FIELD_UNKNOWN || video.field_order == AV_FIELD_PROGRESSIVE;
  // Full range is the same format to everything that plays it.
  const bool isFormatPlayable =
      video.format == AV_PIX_FMT_YUV420P || video.format == AV_PIX_FMT_YUVJ420P;
  // The parameters stand at the head, in the form of an MPEG-4 file (ISO/IEC 14496-15, 5.3.3).
  const bool hasParameters =
      video.extradata_size >= 7 && video.extradata[0] == 1 && video.codec_tag != inBandParameters;
  return video.codec_id == AV_CODEC_ID_H264 && isProfilePlayable && isProgressive &&
         isFormatPlayable && hasParameters && video.level <= maxLevel && video.width % 2 == 0 &&
         video.height % 2 == 0 && video.width <= maxSide && video.height <= maxSide;
}

bool isPlayableAudio(const AVCodecParameters& audio) {
  return audio.codec_id == AV_CODEC_ID_AAC && audio.profile == FF_PROFILE_AAC_LOW &&
         audio.extradata_size >= 2 && (audio.sample_rate == 44100 || audio.sample_rate == 48000) &&
         audio.ch_layout.nb_channels <= 2;
}

bool changesFormat(const AVPacket& packet, const AVCodecParameters& format) {
  std::size_t size = 0;
  const std::uint8_t* const changed =
      av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
  return changed && (size != static_cast<std::size_t>(format.extradata_size) ||
                     std::memcmp(changed, format.extradata, size) != 0);
}

/// Whether a frame is made of whole NAL units, each behind its length, with nothing between them
/// (ISO/IEC 14496-15, 5.3.3).
bool isWhole(const AVPacket& packet, const AVCodecParameters& video) {
  constexpr int slice = 1;
  constexpr int keySlice = 5;
  const int lengthBytes = (video.extradata[4] & 3) + 1;
  const std::uint8_t* at = packet.data;
  std::int64_t rest = packet.size;
  bool hasSlices = false;
  while (rest > lengthBytes) {
    std::int64_t size = 0;
    for (int i = 0; i < lengthBytes; ++i) size = size << 8 | *at++;
    rest -= lengthBytes;
    if (size == 0 || size > rest || *at & 0x80) return false;
    const int type = *at & 31;
    hasSlices |= type == slice || type == keySlice;
    at += size;
    rest -= size;
  }
  return rest == 0 && hasSlices;
}

/// The display matrix is beside the stream, not among its parameters.
void copyDisplayMatrix(const AVStream& from, AVStream& to) {
  std::size_t size = 0;
  const std::uint8_t* const matrix =
      av_stream_get_side_data(&from, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (matrix)
    std::memcpy(allocated(av_stream_new_side_data(&to, AV_PKT_DATA_DISPLAYMATRIX, size)), matrix,
                size);
}

class CopiedTrack final : public TrackWriter {
 public:
  CopiedTrack(const AVStream& source, AVStream& track, MovieOutput& output,
              std::int64_t startMicroseconds)
      : source_(source), track_(track), output_(output), startMicroseconds_(startMicroseconds) {}

  MediaResult<void> write(const AVPacket* packet) override {
    if (!packet) {
      if (written_ > 0 || isAudio()) return {};
      return mediaFailure(AVError::decodeFailed, "The movie has no pictures.");
    }
    if (packet->pts == AV_NOPTS_VALUE || packet->dts == AV_NOPTS_VALUE ||
        packet->pts < packet->dts || packet->dts <= lastDts_ ||
        rescaled(packet->dts, source_.time_base, microseconds) < -maxMovieMicroseconds ||
        changesFormat(*packet, *source_.codecpar) ||
        (!isAudio() && !isWhole(*packet, *source_.codecpar)))
      return refuse();
    lastDts_ = packet->dts;
    if (rescaled(packet->pts, source_.time_base, microseconds) - startMicroseconds_ >
        maxMovieMicroseconds)
      return mediaFailure(AVError::invalidSourceMedia, "The movie is longer than can be exported.");
    const bool isShown = !(packet->flags & AV_PKT_FLAG_DISCARD);
    // What an edit list cuts off before the start is needed for decoding, and its times keep it out
    // of sight. Pictures that are cut off elsewhere may be needed too, but would be seen.
    if (!isShown && packet->pts >= 0) {
      if (!isAudio()) return refuse();
      isPastEnd_ = true;
      return {};
    }
    if (isPastEnd_) return refuse();
    if (av_packet_ref(packet_.get(), packet) < 0) return outOfMemory("The movie cannot be copied");
    const std::int64_t start = rescaled(startMicroseconds_, microseconds, source_.time_base);
    packet_->pts -= start;
    packet_->dts -= start;
    // The writer needs no flag of the reader's.
    packet_->flags &= AV_PKT_FLAG_KEY;
    auto done = output_.write(*packet_, track_, source_.time_base, "The movie cannot be written");
    av_packet_unref(packet_.get());
    if (done) ++written_;
    return done;
  }

  bool mustBeEncoded() const override { return isUnfit_ || output_.hasRefusedTimes(); }

 private:
  bool isAudio() const { return source_.codecpar->codec_type == AVMEDIA_TYPE_AUDIO; }
  Failure<NSError> refuse() {
    isUnfit_ = true;
    return mediaFailure(AVError::exportFailed, "The movie cannot be copied.");
  }

  const AVStream& source_;
  AVStream& track_;
  MovieOutput& output_;
  const std::int64_t startMicroseconds_;
  const Packet packet_ = newPacket();
  std::int64_t written_ = 0;
  std::int64_t lastDts_ = INT64_MIN;
  bool isPastEnd_ = false;
  bool isUnfit_ = false;
};

}  // namespace

bool fitsAsItIs(const MovieInput& input, const AVStream& track) {
  const AVCodecParameters& format = *track.codecpar;
  return input.canBeCopied() && (format.codec_type == AVMEDIA_TYPE_AUDIO ? isPlayableAudio(format)
                                                                         : isPlayableVideo(format));
}

MediaResult<std::unique_ptr<TrackWriter>> copyTrack(const MovieInput& input, const AVStream& source,
                                                    MovieOutput& output) {
  AVStream& track = output.addTrack();
  if (avcodec_parameters_copy(track.codecpar, source.codecpar) < 0)
    return outOfMemory("The movie cannot be copied");
  copyDisplayMatrix(source, track);
  // The tag is the source format's own.
  track.codecpar->codec_tag = 0;
  track.time_base = source.time_base;
  track.avg_frame_rate = source.avg_frame_rate;
  track.sample_aspect_ratio = pixelAspectRatio(source);
  return std::make_unique<CopiedTrack>(source, track, output, input.startMicroseconds());
}

}  // namespace vecamera::device::media
