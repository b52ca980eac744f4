#include "device/media/Movies.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/media/ffmpeg/MovieInput.h"
#include "device/media/transcode/FrameFormat.h"
#include "device/media/transcode/ToneMapper.h"

namespace vecamera::device::media {
namespace {

/// With square pixels, as stored.
Size squareSize(const AVStream& video, Size stored) {
  const AVRational ratio = pixelAspectRatio(video);
  const double width = static_cast<double>(stored.width) * ratio.num / ratio.den;
  return {std::max(1, static_cast<int>(std::lround(width))), stored.height};
}

struct FileType {
  const char* extension;
  const char* uniformType;
};

std::optional<FileType> fileTypeOf(const MovieInput& input) {
  if (input.isWebM()) return FileType{"webm", "org.webmproject.webm"};
  if (!input.isMpeg4()) return std::nullopt;
  // Files from before there were brands are QuickTime's.
  const std::string brand = input.majorBrand();
  if (brand.empty() || brand == "qt  ") return FileType{"mov", "com.apple.quicktime-movie"};
  return FileType{"mp4", "public.mpeg-4"};
}

std::optional<MovieFacts> factsOf(const MediaResult<std::unique_ptr<MovieInput>>& opened) {
  if (!opened) return std::nullopt;
  const MovieInput& input = **opened;
  const auto type = fileTypeOf(input);
  if (!type) return std::nullopt;
  const AVStream& video = input.video();
  const Size size = uprightSize(squareSize(video, {video.codecpar->width, video.codecpar->height}),
                                orientationOf(video));
  MovieFacts facts;
  facts.extension = type->extension;
  facts.uniformType = type->uniformType;
  facts.width = static_cast<std::size_t>(size.width);
  facts.height = static_cast<std::size_t>(size.height);
  if (const auto duration = input.durationMicroseconds())
    facts.durationSeconds = static_cast<double>(*duration) / microseconds.den;
  facts.hasAudio = input.audio() != nullptr;
  return facts;
}

std::optional<imaging::Bitmap> bitmapOf(const AVFrame& given, Size size) {
  ToneMapper toneMapper;
  const AVFrame* const frame = isHdr(given.color_trc) ? toneMapper.map(given) : &given;
  if (!frame) return std::nullopt;
  const Scaler scaler =
      makeScaler(FrameFormat(*frame), {frame->width, frame->height}, size, AV_PIX_FMT_RGBA);
  // Its rows are longer than the bitmap's, which the scaler makes use of.
  const Frame scaled = newVideoFrame(AV_PIX_FMT_RGBA, size);
  auto bitmap = imaging::Bitmap::uninitialized(static_cast<std::size_t>(size.width),
                                               static_cast<std::size_t>(size.height))
                    .value();
  if (!scaler || !scaled || !bitmap ||
      sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, scaled->data,
                scaled->linesize) <= 0)
    return std::nullopt;
  for (std::size_t y = 0; y < bitmap->height(); ++y)
    std::memcpy(bitmap->row(y), scaled->data[0] + static_cast<int>(y) * scaled->linesize[0],
                bitmap->strideBytes());
  bitmap->setKnownOpaque(true);
  return bitmap;
}

bool isBlack(const imaging::Bitmap& bitmap) {
  constexpr std::uint8_t darkest = 24;
  for (std::size_t y = 0; y < bitmap.height(); ++y) {
    const std::uint8_t* const row = bitmap.bytesOfRow(y);
    for (std::size_t i = 0; i < bitmap.strideBytes(); ++i) {
      if (i % 4 != 3 && row[i] > darkest) return false;
    }
  }
  return true;
}

/// The frames near the start, small and as stored, one after the other.
class FirstFrames {
 public:
  FirstFrames(MovieInput& input, std::size_t maxSide)
      : input_(input),
        maxSide_(static_cast<double>(maxSide)),
        decoder_(openDecoder(input.video())),
        packet_(av_packet_alloc()),
        frame_(av_frame_alloc()) {}

  std::optional<imaging::Bitmap> next() {
    if (!decoder_ || !packet_ || !frame_) return std::nullopt;
    AVCodecContext* const decoder = decoder_->get();
    // What gives no frame in so many packets is not worth more.
    for (; packets_ < 300; ++packets_) {
      if (avcodec_receive_frame(decoder, frame_.get()) >= 0) return small();
      if (isAtEnd_) return std::nullopt;
      isAtEnd_ = input_.read(*packet_) < 0 || !requireUnencrypted(*packet_);
      if (isAtEnd_ || packet_->stream_index == input_.video().index)
        avcodec_send_packet(decoder, isAtEnd_ ? nullptr : packet_.get());
    }
    return std::nullopt;
  }

 private:
  std::optional<imaging::Bitmap> small() const {
    if (frame_->width <= 0 || frame_->height <= 0) return std::nullopt;
    const Size size = squareSize(input_.video(), {frame_->width, frame_->height});
    const double factor = std::min(1.0, maxSide_ / std::max(size.width, size.height));
    return bitmapOf(*frame_, {std::max(1, static_cast<int>(std::lround(size.width * factor))),
                              std::max(1, static_cast<int>(std::lround(size.height * factor)))});
  }

  MovieInput& input_;
  const double maxSide_;
  MediaResult<Codec> decoder_;
  Packet packet_;
  Frame frame_;
  int packets_ = 0;
  bool isAtEnd_ = false;
};

std::optional<Data> posterOf(const MediaResult<std::unique_ptr<MovieInput>>& input,
                             std::size_t maxSide) {
  constexpr int maxFrames = 30;
  constexpr int quality = 85;
  if (!input || maxSide == 0) return std::nullopt;
  FirstFrames frames(**input, maxSide);
  auto poster = frames.next();
  if (!poster) return std::nullopt;
  if (isBlack(*poster)) {
    for (int i = 1; i < maxFrames; ++i) {
      auto later = frames.next();
      if (!later) break;
      if (isBlack(*later)) continue;
      poster = std::move(later);
      break;
    }
  }
  poster = imaging::oriented(std::move(*poster), orientationOf((*input)->video())).value();
  auto jpeg = poster ? imaging::encodeJpeg(*poster, quality, {}).value() : std::nullopt;
  return jpeg ? std::optional(Data(std::move(*jpeg))) : std::nullopt;
}

}  // namespace

std::optional<MovieFacts> probeMovie(const Data& movie) {
  return factsOf(MovieInput::open(movie));
}

std::optional<MovieFacts> probeMovieFile(const std::filesystem::path& movie) {
  return factsOf(MovieInput::open(movie, {}));
}

std::optional<Data> posterFrame(const Data& movie, std::size_t maxSide) {
  return posterOf(MovieInput::open(movie), maxSide);
}

std::optional<Data> posterFrameOfFile(const std::filesystem::path& movie, std::size_t maxSide) {
  return posterOf(MovieInput::open(movie, {}), maxSide);
}

}  // namespace vecamera::device::media
