#include "device/media/ffmpeg/MovieInput.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/display.h>
}

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "device/imaging/codecs/HeicCodec.h"
#include "device/media/ffmpeg/Truncation.h"

namespace vecamera::device::media {
namespace {

constexpr int maxSide = 8192;
/// One frame of 8192 by 4352.
constexpr std::int64_t maxPixels = 8192 * 4352;

/// Formats whose files hold their streams themselves. No playlists, which name other files.
constexpr const char* movieFileFormats = "mov,matroska,avi,mpegts";
/// What cameras, browsers and editors write. Each decoder more is attack surface for hostile bytes.
constexpr const char* codecs =
    "h264,hevc,vp8,vp9,libdav1d,av1,mpeg4,mjpeg,h263,mpeg1video,mpeg2video,prores,dvvideo,theora,"
    "aac,aac_latm,mp3float,mp3,mp2,mp2float,opus,vorbis,alac,ac3,eac3,flac,amrnb,amrwb,pcm_s16le,"
    "pcm_s16be,pcm_s24le,pcm_s24be,pcm_s32le,pcm_s32be,pcm_f32le,pcm_f32be,pcm_u8,pcm_s8,"
    "pcm_alaw,pcm_mulaw,adpcm_ima_wav,adpcm_ima_qt,adpcm_ms";

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EACCES);
}

const AVCodec* decoderFor(const AVStream& stream) {
  const AVCodec* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
  return decoder && av_match_list(decoder->name, codecs, ',') > 0 ? decoder : nullptr;
}

bool isVideoTrack(const AVStream& stream) {
  constexpr int stills =
      AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS | AV_DISPOSITION_STILL_IMAGE;
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !(stream.disposition & stills);
}

bool isAudioTrack(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
}

bool isUsableAudio(const AVStream& stream) {
  constexpr int maxChannels = 64;
  const AVCodecParameters& audio = *stream.codecpar;
  return decoderFor(stream) && audio.sample_rate > 0 && audio.sample_rate <= 768000 &&
         audio.ch_layout.nb_channels > 0 && audio.ch_layout.nb_channels <= maxChannels;
}

std::string nameOf(const AVStream& stream) {
  return avcodec_get_name(stream.codecpar->codec_id);
}

Failure<NSError> encrypted() {
  return mediaFailure(AVError::contentIsProtected,
                      "The movie is protected: its tracks are encrypted.");
}

bool isEncryptedTrack(const AVStream& stream) {
  for (const std::uint32_t tag : {MKTAG('e', 'n', 'c', 'v'), MKTAG('e', 'n', 'c', 'a'),
                                  MKTAG('d', 'r', 'm', 'i'), MKTAG('d', 'r', 'm', 's')}) {
    if (stream.codecpar->codec_tag == tag) return true;
  }
  return av_stream_get_side_data(&stream, AV_PKT_DATA_ENCRYPTION_INIT_INFO, nullptr);
}

Failure<NSError> cannotDecode(const AVStream& stream, const char* what) {
  if (isEncryptedTrack(stream)) return encrypted();
  return mediaFailure(AVError::decodeFailed, std::string("The ") + what + " of the movie (" +
                                                 nameOf(stream) + ") cannot be decoded.");
}

}  // namespace

MediaResult<std::unique_ptr<MovieInput>> MovieInput::open(const std::filesystem::path& file,
                                                          CancellationCheck isCancelled) {
  auto bytes = ByteSource::open(file, std::move(isCancelled));
  return bytes ? open(std::move(*bytes)) : std::move(bytes).failure();
}

MediaResult<std::unique_ptr<MovieInput>> MovieInput::open(const Data& bytes) {
  return open(std::make_unique<ByteSource>(bytes));
}

MediaResult<std::unique_ptr<MovieInput>> MovieInput::open(std::unique_ptr<ByteSource> bytes) {
  std::unique_ptr<MovieInput> input(new MovieInput(std::move(bytes)));
  if (auto done = input->openFormat(); !done) return std::move(done).failure();
  if (auto done = input->findTracks(); !done) return std::move(done).failure();
  return input;
}

MediaResult<void> MovieInput::openFormat() {
  AVFormatContext* context = allocated(avformat_alloc_context());
  context->pb = bytes_->stream();
  context->flags |= AVFMT_FLAG_CUSTOM_IO;
  context->io_open = refuseToOpen;
  context->interrupt_callback = bytes_->interrupt();
  context->max_streams = 64;
  context->format_whitelist = av_strdup(movieFileFormats);
  context->codec_whitelist = av_strdup(codecs);
  // On an error this frees the context, but not the bytes' side of it.
  const int opened = avformat_open_input(&context, "", nullptr, nullptr);
  if (opened < 0)
    return failure(opened, "This is no movie that can be read", AVError::fileFormatNotRecognized);
  context_.reset(context);
  if (imaging::heifBrandOf(majorBrand()) != imaging::HeifBrand::none)
    return mediaFailure(AVError::fileFormatNotRecognized, "This is a picture, not a movie.");
  return {};
}

MediaResult<void> MovieInput::findTracks() {
  const unsigned count = context_->nb_streams;
  std::vector<AVDictionary*> options(count, nullptr);
  for (AVDictionary*& each : options) {
    av_dict_set_int(&each, "max_pixels", maxPixels, 0);
    av_dict_set_int(&each, "threads", 1, 0);
  }
  const int found = avformat_find_stream_info(context_.get(), options.data());
  for (AVDictionary*& each : options) av_dict_free(&each);
  if (found < 0) return failure(found, "The movie cannot be read", AVError::fileFailedToParse);

  const std::span<AVStream*> streams(context_->streams, context_->nb_streams);
  const AVStream* refused = nullptr;
  for (AVStream* stream : streams) {
    stream->discard = AVDISCARD_ALL;
    if (!isVideoTrack(*stream) || video_) continue;
    if (decoderFor(*stream) && stream->codecpar->width > 0 && stream->codecpar->height > 0)
      video_ = stream;
    else
      refused = stream;
  }
  if (!video_) {
    return refused ? cannotDecode(*refused, "pictures")
                   : mediaFailure(AVError::invalidSourceMedia, "The movie has no picture track.");
  }
  const AVCodecParameters& video = *video_->codecpar;
  if (video.width > maxSide || video.height > maxSide ||
      std::int64_t{video.width} * video.height > maxPixels)
    return mediaFailure(AVError::invalidSourceMedia, "The pictures of the movie are too large.");

  for (AVStream* stream : streams) {
    if (!isAudioTrack(*stream) || !isUsableAudio(*stream)) continue;
    const bool isDefault = stream->disposition & AV_DISPOSITION_DEFAULT;
    if (!audio_ || (isDefault && !(audio_->disposition & AV_DISPOSITION_DEFAULT))) audio_ = stream;
  }
  const auto unusable = std::find_if(streams.begin(), streams.end(),
                                     [](const AVStream* stream) { return isAudioTrack(*stream); });
  if (!audio_ && unusable != streams.end()) return cannotDecode(**unusable, "sound");
  if (isEncryptedTrack(*video_) || (audio_ && isEncryptedTrack(*audio_))) return encrypted();
  video_->discard = AVDISCARD_DEFAULT;
  if (audio_) audio_->discard = AVDISCARD_DEFAULT;
  return {};
}

/// The error of opening the file: that of reading its bytes where they cannot be read.
Failure<NSError> MovieInput::failure(int code, const std::string& what, AVError otherwise) const {
  const int unread = bytes_->stream()->error;
  return unread < 0 ? ffmpegFailure(unread, what, AVError::unknown)
                    : ffmpegFailure(code, what, otherwise);
}

bool MovieInput::isFormat(const char* name) const {
  return av_match_list(context_->iformat->name, name, ',') > 0;
}

std::string MovieInput::majorBrand() const {
  const AVDictionaryEntry* const brand = av_dict_get(context_->metadata, "major_brand", nullptr, 0);
  return isMpeg4() && brand ? brand->value : "";
}

std::int64_t MovieInput::startMicroseconds() const {
  std::int64_t start = INT64_MAX;
  for (const AVStream* stream : {video_, audio_}) {
    if (stream && stream->start_time != AV_NOPTS_VALUE)
      start = std::min(start, rescaled(stream->start_time, stream->time_base, microseconds));
  }
  return start == INT64_MAX ? 0 : std::max<std::int64_t>(start, 0);
}

std::optional<std::int64_t> MovieInput::durationMicroseconds() const {
  const bool isGuess = context_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
  if (context_->duration == AV_NOPTS_VALUE || context_->duration <= 0 || isGuess)
    return std::nullopt;
  return rescaled(context_->duration, AVRational{1, AV_TIME_BASE}, microseconds);
}

double MovieInput::fractionRead() const {
  const auto size = static_cast<double>(bytes_->size());
  return size > 0 ? std::clamp(static_cast<double>(avio_tell(bytes_->stream())) / size, 0.0, 1.0)
                  : 0;
}

MediaResult<MovieInput::ReadResult> MovieInput::read(AVPacket& packet) {
  int status = AVERROR_EXIT;
  while (!bytes_->isCancelled()) {
    av_packet_unref(&packet);
    status = av_read_frame(context_.get(), &packet);
    if (status < 0) break;
    if (packet.stream_index != video_->index && (!audio_ || packet.stream_index != audio_->index))
      continue;
    if (av_packet_get_side_data(&packet, AV_PKT_DATA_ENCRYPTION_INFO, nullptr)) return encrypted();
    return ReadResult::packet;
  }
  // Some readers take every error, and a cancelled read, for the end.
  if (bytes_->stream()->error < 0) status = bytes_->stream()->error;
  if (bytes_->isCancelled()) status = AVERROR_EXIT;
  if (status == AVERROR_EOF || (status != AVERROR_EXIT && mayEndHere())) return ReadResult::end;
  return damagedMovie(status);
}

/// Whether reading may stop here in a file that is whole: at its end, and anywhere in a recording
/// that announces no length. The index of an MPEG-4 file names what must be there.
bool MovieInput::mayEndHere() const {
  if (isMpeg4() || bytes_->stream()->error < 0) return false;
  if (avio_feof(bytes_->stream()) || avio_tell(bytes_->stream()) >= bytes_->size()) return true;
  const auto hasSize = isMatroska() ? announcesSegmentSize(*bytes_) : true;
  return hasSize && !*hasSize;
}

MediaResult<bool> MovieInput::isTruncated() const {
  if (isMpeg4()) return isMpeg4Truncated(*bytes_);
  if (isMatroska()) return isMatroskaTruncated(*bytes_);
  return isFormat("avi") ? isAviTruncated(*bytes_) : false;
}

MediaResult<bool> MovieInput::isWebM() const {
  std::array<std::uint8_t, 64> buffer;
  const auto head = bytes_->readAt(0, buffer);
  if (!head) return head.failure();
  const std::string_view text(reinterpret_cast<const char*>(head->data()), head->size());
  return isMatroska() && text.find("webm") != std::string_view::npos;
}

Failure<NSError> damagedMovie(int code) {
  return ffmpegFailure(code, "The movie is damaged", AVError::fileFailedToParse);
}

MediaResult<Codec> openDecoder(const AVStream& stream) {
  const AVCodec* const decoder = decoderFor(stream);
  Codec codec(decoder ? allocated(avcodec_alloc_context3(decoder)) : nullptr);
  int status = codec ? avcodec_parameters_to_context(codec.get(), stream.codecpar)
                     : AVERROR_DECODER_NOT_FOUND;
  if (status >= 0) {
    codec->pkt_timebase = stream.time_base;
    codec->max_pixels = maxPixels;
    // Each further thread holds further frames.
    constexpr int maxWidthForTwo = 4096;
    codec->thread_count = stream.codecpar->width > maxWidthForTwo ? 1 : 2;
    status = avcodec_open2(codec.get(), decoder, nullptr);
  }
  if (status >= 0) return codec;
  return ffmpegFailure(status, "The movie (" + nameOf(stream) + ") cannot be decoded",
                       AVError::decodeFailed);
}

imaging::Orientation orientationOf(const AVStream& stream) {
  std::size_t size = 0;
  const std::uint8_t* const data =
      av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  std::array<std::int32_t, 9> matrix;
  if (!data || size < sizeof matrix) return {};
  std::memcpy(matrix.data(), data, sizeof matrix);
  // A pixel at (x, y) is shown at (a x + c y, b x + d y).
  const std::int64_t a = matrix[0];
  const std::int64_t b = matrix[1];
  const std::int64_t c = matrix[3];
  const std::int64_t d = matrix[4];
  imaging::Orientation orientation;
  orientation.swapsAxes = std::abs(b) > std::abs(a);
  orientation.mirrorsX = (orientation.swapsAxes ? c : a) < 0;
  orientation.mirrorsY = (orientation.swapsAxes ? b : d) < 0;
  return orientation;
}

AVRational pixelAspectRatio(const AVStream& stream) {
  const AVRational ratios[] = {stream.sample_aspect_ratio, stream.codecpar->sample_aspect_ratio};
  for (const AVRational& ratio : ratios) {
    if (ratio.num > 0 && ratio.den > 0)
      return ratio.num / ratio.den < 16 && ratio.den / ratio.num < 16 ? ratio : AVRational{1, 1};
  }
  return {1, 1};
}

AVRational nominalFrameRate(const AVStream& stream) {
  for (const AVRational& rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
    if (rate.num > 0 && rate.den > 0 && rate.num / rate.den <= 120 && rate.num >= rate.den)
      return rate;
  }
  return {30, 1};
}

}  // namespace vecamera::device::media
