#include "device/media/MovieInput.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/display.h>
#include <libavutil/intreadwrite.h>
}
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "device/foundation/PosixFiles.h"

namespace vecamera::device::media {

/// The bytes of a movie, in a file or in memory, with a reading position.
class ByteSource {
 public:
  ByteSource(foundation::Descriptor file, std::int64_t size, Cancelled cancelled)
      : file_(std::move(file)), cancelled_(std::move(cancelled)), size_(size) {}
  explicit ByteSource(Data data)
      : data_(std::move(data)), size_(static_cast<std::int64_t>(data_.size())) {}

  std::int64_t size() const { return size_; }
  bool isCancelled() const { return cancelled_ && cancelled_(); }

  /// Bytes from the offset on: fewer than asked for at the end, or negative as FFmpeg's errors.
  int readAt(std::int64_t offset, std::uint8_t* into, int count) const {
    if (isCancelled()) return AVERROR_EXIT;
    if (offset < 0 || offset >= size_) return 0;
    count = static_cast<int>(std::min<std::int64_t>(count, size_ - offset));
    if (!file_) {
      std::memcpy(into, data_.bytes().data() + offset, static_cast<std::size_t>(count));
      return count;
    }
    ssize_t got = -1;
    do {
      got = pread(file_.number(), into, static_cast<std::size_t>(count), offset);
    } while (got < 0 && errno == EINTR);
    return got < 0 ? AVERROR(errno) : static_cast<int>(got);
  }

  static int read(void* self, std::uint8_t* into, int count) {
    auto& source = *static_cast<ByteSource*>(self);
    const int got = source.readAt(source.position_, into, count);
    if (got > 0) source.position_ += got;
    return got == 0 ? AVERROR_EOF : got;
  }

  static std::int64_t seek(void* self, std::int64_t offset, int whence) {
    auto& source = *static_cast<ByteSource*>(self);
    switch (whence & ~AVSEEK_FORCE) {
      case AVSEEK_SIZE: return source.size_;
      case SEEK_SET: break;
      case SEEK_CUR: offset += source.position_; break;
      case SEEK_END: offset += source.size_; break;
      default: return AVERROR(EINVAL);
    }
    if (offset < 0) return AVERROR(EINVAL);
    return source.position_ = offset;
  }

 private:
  const foundation::Descriptor file_;
  const Data data_;
  const Cancelled cancelled_;
  const std::int64_t size_;
  std::int64_t position_ = 0;
};

namespace {

constexpr int bufferBytes = 1 << 16;
constexpr int maxSide = 8192;
/// One picture of 8192 by 4352.
constexpr std::int64_t maxPixels = 8192 * 4352;

/// Containers that hold their streams themselves. No playlists, which name other files.
constexpr const char* containers = "mov,matroska,avi,mpegts";
/// What cameras, browsers and editors write. Fewer decoders are fewer ways in for hostile bytes.
constexpr const char* codecs =
    "h264,hevc,vp8,vp9,libdav1d,av1,mpeg4,mjpeg,h263,mpeg1video,mpeg2video,prores,dvvideo,theora,"
    "aac,aac_latm,mp3float,mp3,mp2,mp2float,opus,vorbis,alac,ac3,eac3,flac,amrnb,amrwb,pcm_s16le,"
    "pcm_s16be,pcm_s24le,pcm_s24be,pcm_s32le,pcm_s32be,pcm_f32le,pcm_f32be,pcm_u8,pcm_s8,"
    "pcm_alaw,pcm_mulaw,adpcm_ima_wav,adpcm_ima_qt,adpcm_ms";

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EACCES);
}

int interrupt(void* source) {
  return static_cast<const ByteSource*>(source)->isCancelled();
}

const AVCodec* decoderFor(const AVStream& stream) {
  const AVCodec* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
  return decoder && av_match_list(decoder->name, codecs, ',') > 0 ? decoder : nullptr;
}

bool isPictureTrack(const AVStream& stream) {
  constexpr int stills =
      AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS | AV_DISPOSITION_STILL_IMAGE;
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !(stream.disposition & stills);
}

bool isSoundTrack(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
}

bool isUsableSound(const AVStream& stream) {
  constexpr int maxChannels = 64;
  const AVCodecParameters& sound = *stream.codecpar;
  return decoderFor(stream) && sound.sample_rate > 0 && sound.sample_rate <= 768000 &&
         sound.ch_layout.nb_channels > 0 && sound.ch_layout.nb_channels <= maxChannels;
}

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

const NSError& endsEarly() {
  static const NSError error =
      mediaError(AVError::fileFailedToParse,
                 "The movie cannot be read: the file ends before its contents do.");
  return error;
}

/// Walks the boxes at the top of an MPEG-4 or QuickTime file (ISO/IEC 14496-12, 4.2).
bool lacksBoxBytes(const ByteSource& bytes) {
  std::int64_t at = 0;
  bool awaitsData = false;
  std::array<std::uint8_t, 16> head;
  int got = 0;
  while ((got = bytes.readAt(at, head.data(), 16)) > 0) {
    // A piece of a head.
    if (got < 8) return true;
    std::uint64_t size = bigEndian(head.data(), 4);
    const std::string_view type(reinterpret_cast<const char*>(head.data()) + 4, 4);
    // The index of a fragment tells of what comes behind it.
    if (type == "moof" || type == "mdat") awaitsData = type == "moof";
    // Others at the end may only help to find these, or be what some maker of phones appends.
    const bool isNeeded =
        awaitsData || type == "moov" || type == "mdat" || type == "styp" || type == "sidx";
    // Zero stands for all the rest, one for a size behind the type.
    if (size == 0) break;
    if (size == 1) {
      if (got < 16) return true;
      size = bigEndian(head.data() + 8, 8);
    }
    if (size < 8) break;
    if (size > static_cast<std::uint64_t>(bytes.size() - at)) return isNeeded;
    at += static_cast<std::int64_t>(size);
  }
  return awaitsData;
}

/// The value of the length or, with its marker bit, the number of an EBML element (RFC 8794, 4),
/// and how many bytes it takes; no bytes where there is none.
struct EbmlNumber {
  std::uint64_t value = 0;
  std::size_t bytes = 0;
  /// All bits set, which for a length means that it is unknown.
  bool isOpen = false;
};

EbmlNumber ebmlNumber(const std::uint8_t* at, const std::uint8_t* end, bool withMarker) {
  if (at == end || *at == 0) return {};
  std::size_t bytes = 1;
  while (!(*at & (0x80u >> (bytes - 1)))) ++bytes;
  if (static_cast<std::size_t>(end - at) < bytes) return {};
  const std::uint64_t marker = std::uint64_t{1} << (7 * bytes);
  const std::uint64_t value = bigEndian(at, bytes);
  return {withMarker ? value : value & (marker - 1), bytes, (value & (marker - 1)) == marker - 1};
}

/// The length that the segment of a Matroska file announces, which it does when its writer came to
/// the end, and the bytes that are there for it.
struct Segment {
  std::uint64_t size = 0;
  std::uint64_t present = 0;
};

std::optional<Segment> announcedSegment(const ByteSource& bytes) {
  constexpr std::uint64_t segmentId = 0x18538067;
  std::array<std::uint8_t, 4096> head;
  const int got = bytes.readAt(0, head.data(), static_cast<int>(head.size()));
  const std::uint8_t* at = head.data();
  const std::uint8_t* const end = at + std::max(got, 0);
  while (at < end) {
    const EbmlNumber id = ebmlNumber(at, end, true);
    const EbmlNumber size = ebmlNumber(at + id.bytes, end, false);
    if (id.bytes == 0 || size.bytes == 0 || size.isOpen) return std::nullopt;
    at += id.bytes + size.bytes;
    const auto rest = static_cast<std::uint64_t>(bytes.size() - (at - head.data()));
    if (id.value == segmentId) return Segment{size.value, rest};
    if (size.value > static_cast<std::uint64_t>(end - at)) return std::nullopt;
    at += size.value;
  }
  return std::nullopt;
}

bool lacksSegmentBytes(const ByteSource& bytes) {
  const auto segment = announcedSegment(bytes);
  return segment && segment->size > segment->present;
}

/// Walks the chunks at the top of an AVI file, of which long movies have several.
bool lacksRiffBytes(const ByteSource& bytes) {
  constexpr std::uint32_t headBytes = 8;
  std::array<std::uint8_t, headBytes> head;
  for (std::int64_t at = 0; bytes.readAt(at, head.data(), headBytes) == headBytes;) {
    const std::uint32_t size = AV_RL32(head.data() + 4);
    // A writer that did not come to the end leaves these.
    const bool isOpen = size == 0 || size == UINT32_MAX;
    if (std::memcmp(head.data(), "RIFF", 4) != 0 || isOpen) return false;
    // Some count the head, too.
    if (size > bytes.size() - at) return true;
    at += std::int64_t{headBytes} + size + size % 2;
  }
  return false;
}

std::string nameOf(const AVStream& stream) {
  return avcodec_get_name(stream.codecpar->codec_id);
}

const NSError& isEncrypted() {
  static const NSError error =
      mediaError(AVError::contentIsProtected, "The movie is protected: its tracks are encrypted.");
  return error;
}

bool isEncryptedTrack(const AVStream& stream) {
  for (const std::uint32_t tag : {MKTAG('e', 'n', 'c', 'v'), MKTAG('e', 'n', 'c', 'a'),
                                  MKTAG('d', 'r', 'm', 'i'), MKTAG('d', 'r', 'm', 's')}) {
    if (stream.codecpar->codec_tag == tag) return true;
  }
  return av_stream_get_side_data(&stream, AV_PKT_DATA_ENCRYPTION_INIT_INFO, nullptr);
}

NSError cannotDecode(const AVStream& stream, const char* what) {
  if (isEncryptedTrack(stream)) return isEncrypted();
  return mediaError(AVError::decodeFailed, std::string("The ") + what + " of the movie (" +
                                               nameOf(stream) + ") cannot be decoded.");
}

}  // namespace

void MovieInput::FreeIo::operator()(AVIOContext* io) const {
  av_freep(&io->buffer);
  avio_context_free(&io);
}

MovieInput::MovieInput(std::unique_ptr<ByteSource> bytes) : bytes_(std::move(bytes)) {}
MovieInput::~MovieInput() = default;

MovieInput::Opened MovieInput::open(const std::filesystem::path& file, Cancelled cancelled) {
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  foundation::Descriptor descriptor =
      foundation::openAt(AT_FDCWD, file.native(), O_RDONLY | O_NONBLOCK);
  struct stat status;
  if (!descriptor || fstat(descriptor.number(), &status) != 0)
    return mediaError(AVError::unknown, "The movie \"" + file.filename().string() +
                                            "\" cannot be opened: " + std::strerror(errno) + ".");
  if (!S_ISREG(status.st_mode))
    return mediaError(AVError::fileFormatNotRecognized,
                      "The movie \"" + file.filename().string() + "\" is no file.");
  return open(
      std::make_unique<ByteSource>(std::move(descriptor), status.st_size, std::move(cancelled)));
}

MovieInput::Opened MovieInput::open(const Data& bytes) {
  return open(std::make_unique<ByteSource>(bytes));
}

MovieInput::Opened MovieInput::open(std::unique_ptr<ByteSource> bytes) {
  prepareLibraries();
  std::unique_ptr<MovieInput> input(new MovieInput(std::move(bytes)));
  if (auto error = input->openContainer()) return std::move(*error);
  if (auto error = input->findTracks()) return std::move(*error);
  return input;
}

Outcome MovieInput::openContainer() {
  AVFormatContext* context = avformat_alloc_context();
  auto* const buffer = static_cast<std::uint8_t*>(av_malloc(bufferBytes));
  if (context && buffer)
    io_.reset(avio_alloc_context(buffer, bufferBytes, 0, bytes_.get(), ByteSource::read, nullptr,
                                 ByteSource::seek));
  if (!io_) {
    av_free(buffer);
    avformat_free_context(context);
    return libraryError(AVERROR(ENOMEM), "The movie cannot be opened", AVError::unknown);
  }
  context->pb = io_.get();
  context->flags |= AVFMT_FLAG_CUSTOM_IO;
  context->io_open = refuseToOpen;
  context->interrupt_callback = {interrupt, bytes_.get()};
  context->max_streams = 64;
  context->format_whitelist = av_strdup(containers);
  context->codec_whitelist = av_strdup(codecs);
  // On a failure this frees the context, but not the bytes' side of it.
  const int opened = avformat_open_input(&context, "", nullptr, nullptr);
  if (opened < 0)
    return libraryError(opened, "This is no movie that can be read",
                        AVError::fileFormatNotRecognized);
  context_.reset(context);
  // Still pictures in boxes of the same kind (ISO/IEC 23008-12).
  const std::string brand = majorBrand();
  for (const char* still :
       {"avif", "avis", "heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1"}) {
    if (brand == still)
      return mediaError(AVError::fileFormatNotRecognized, "This is a picture, not a movie.");
  }
  return std::nullopt;
}

Outcome MovieInput::findTracks() {
  const unsigned count = context_->nb_streams;
  std::vector<AVDictionary*> options(count, nullptr);
  for (AVDictionary*& each : options) {
    av_dict_set_int(&each, "max_pixels", maxPixels, 0);
    av_dict_set_int(&each, "threads", 1, 0);
  }
  const int found = avformat_find_stream_info(context_.get(), options.data());
  for (AVDictionary*& each : options) av_dict_free(&each);
  if (found < 0) return libraryError(found, "The movie cannot be read", AVError::fileFailedToParse);

  const std::span<AVStream*> streams(context_->streams, context_->nb_streams);
  const AVStream* refused = nullptr;
  for (AVStream* stream : streams) {
    stream->discard = AVDISCARD_ALL;
    if (!isPictureTrack(*stream) || picture_) continue;
    if (decoderFor(*stream) && stream->codecpar->width > 0 && stream->codecpar->height > 0)
      picture_ = stream;
    else
      refused = stream;
  }
  if (!picture_) {
    return refused ? cannotDecode(*refused, "pictures")
                   : mediaError(AVError::invalidSourceMedia, "The movie has no picture track.");
  }
  const AVCodecParameters& picture = *picture_->codecpar;
  if (picture.width > maxSide || picture.height > maxSide ||
      std::int64_t{picture.width} * picture.height > maxPixels)
    return mediaError(AVError::invalidSourceMedia, "The pictures of the movie are too large.");

  for (AVStream* stream : streams) {
    if (!isSoundTrack(*stream) || !isUsableSound(*stream)) continue;
    const bool isDefault = stream->disposition & AV_DISPOSITION_DEFAULT;
    if (!sound_ || (isDefault && !(sound_->disposition & AV_DISPOSITION_DEFAULT))) sound_ = stream;
  }
  const auto unusable = std::find_if(streams.begin(), streams.end(),
                                     [](const AVStream* stream) { return isSoundTrack(*stream); });
  if (!sound_ && unusable != streams.end()) return cannotDecode(**unusable, "sound");
  if (isEncryptedTrack(*picture_) || (sound_ && isEncryptedTrack(*sound_))) return isEncrypted();
  picture_->discard = AVDISCARD_DEFAULT;
  if (sound_) sound_->discard = AVDISCARD_DEFAULT;
  return std::nullopt;
}

bool MovieInput::isMpeg4() const {
  return av_match_list(context_->iformat->name, "mov", ',') > 0;
}

bool MovieInput::isMatroska() const {
  return av_match_list(context_->iformat->name, "matroska", ',') > 0;
}

std::string MovieInput::majorBrand() const {
  const AVDictionaryEntry* const brand = av_dict_get(context_->metadata, "major_brand", nullptr, 0);
  return isMpeg4() && brand ? brand->value : "";
}

std::int64_t MovieInput::startMicroseconds() const {
  std::int64_t start = INT64_MAX;
  for (const AVStream* stream : {picture_, sound_}) {
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

double MovieInput::shareRead() const {
  const auto size = static_cast<double>(bytes_->size());
  return size > 0 ? std::clamp(static_cast<double>(avio_tell(io_.get())) / size, 0.0, 1.0) : 0;
}

int MovieInput::read(AVPacket& packet) {
  for (;;) {
    av_packet_unref(&packet);
    if (bytes_->isCancelled()) return AVERROR_EXIT;
    const int got = av_read_frame(context_.get(), &packet);
    // Some readers take every failure for the end.
    if (got < 0) return io_->error < 0 ? io_->error : got;
    if (packet.stream_index == picture_->index || (sound_ && packet.stream_index == sound_->index))
      return 0;
  }
}

bool MovieInput::mayEndHere() const {
  if (io_->error < 0) return false;
  return avio_feof(io_.get()) || avio_tell(io_.get()) >= bytes_->size() ||
         (isMatroska() && !announcedSegment(*bytes_));
}

Outcome MovieInput::cutShort() const {
  const bool isAvi = av_match_list(context_->iformat->name, "avi", ',') > 0;
  const bool lacks = (isMpeg4() && lacksBoxBytes(*bytes_)) ||
                     (isMatroska() && lacksSegmentBytes(*bytes_)) ||
                     (isAvi && lacksRiffBytes(*bytes_));
  return lacks ? Outcome(endsEarly()) : std::nullopt;
}

bool MovieInput::isWebM() const {
  std::array<std::uint8_t, 64> head{};
  const int got = bytes_->readAt(0, head.data(), static_cast<int>(head.size()));
  const std::string_view text(reinterpret_cast<const char*>(head.data()),
                              static_cast<std::size_t>(std::max(got, 0)));
  return isMatroska() && text.find("webm") != std::string_view::npos;
}

Outcome encryptionOf(const AVPacket& packet) {
  if (!av_packet_get_side_data(&packet, AV_PKT_DATA_ENCRYPTION_INFO, nullptr)) return std::nullopt;
  return isEncrypted();
}

Codec openDecoder(const AVStream& stream, Outcome& error) {
  const AVCodec* const decoder = decoderFor(stream);
  Codec codec(decoder ? avcodec_alloc_context3(decoder) : nullptr);
  int failure = codec ? avcodec_parameters_to_context(codec.get(), stream.codecpar)
                      : AVERROR_DECODER_NOT_FOUND;
  if (failure >= 0) {
    codec->pkt_timebase = stream.time_base;
    codec->max_pixels = maxPixels;
    // Each further thread holds further pictures.
    constexpr int widestForTwo = 4096;
    codec->thread_count = stream.codecpar->width > widestForTwo ? 1 : 2;
    failure = avcodec_open2(codec.get(), decoder, nullptr);
  }
  if (failure >= 0) return codec;
  error = libraryError(failure, "The movie (" + nameOf(stream) + ") cannot be decoded",
                       AVError::decodeFailed);
  return nullptr;
}

imaging::Orientation turnOf(const AVStream& stream) {
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
  imaging::Orientation turn;
  turn.swapsAxes = std::abs(b) > std::abs(a);
  turn.mirrorsX = (turn.swapsAxes ? c : a) < 0;
  turn.mirrorsY = (turn.swapsAxes ? b : d) < 0;
  return turn;
}

AVRational pixelShape(const AVStream& stream) {
  const AVRational shapes[] = {stream.sample_aspect_ratio, stream.codecpar->sample_aspect_ratio};
  for (const AVRational& shape : shapes) {
    if (shape.num > 0 && shape.den > 0)
      return shape.num / shape.den < 16 && shape.den / shape.num < 16 ? shape : AVRational{1, 1};
  }
  return {1, 1};
}

AVRational nominalRate(const AVStream& stream) {
  for (const AVRational& rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
    if (rate.num > 0 && rate.den > 0 && rate.num / rate.den <= 120 && rate.num >= rate.den)
      return rate;
  }
  return {30, 1};
}

}  // namespace vecamera::device::media
