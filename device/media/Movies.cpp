#include "device/media/Movies.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
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

MediaResult<MovieFormat> formatOf(const MovieInput& input) {
  const auto isWebM = input.isWebM();
  if (!isWebM) return isWebM.failure();
  if (*isWebM) return webmFormat;
  if (!input.isMpeg4())
    return mediaFailure(AVError::fileFormatNotRecognized,
                        "The movie is none of these: " + movieFormatNames() + ".");
  // Files from before there were brands are QuickTime's.
  const std::string brand = input.majorBrand();
  return brand.empty() || brand == "qt  " ? quickTimeFormat : mpeg4Format;
}

MediaResult<MovieFacts> factsOf(const MediaResult<std::unique_ptr<MovieInput>>& opened) {
  if (!opened) return opened.failure();
  const MovieInput& input = **opened;
  const auto format = formatOf(input);
  if (!format) return format.failure();
  const AVStream& video = input.video();
  const Size stored{video.codecpar->width, video.codecpar->height};
  const auto orientation = orientationOf(video);
  const Size size = imaging::sidesOf(orientation, squareSize(video, stored));
  MovieFacts facts;
  facts.format = *format;
  facts.width = static_cast<std::size_t>(size.width);
  facts.height = static_cast<std::size_t>(size.height);
  facts.storedWidth = static_cast<std::size_t>(stored.width);
  facts.storedHeight = static_cast<std::size_t>(stored.height);
  facts.orientation = imaging::exifOrientation(orientation);
  if (const auto duration = input.durationMicroseconds())
    facts.durationSeconds = static_cast<double>(*duration) / microseconds.den;
  facts.hasAudio = input.audio() != nullptr;
  return facts;
}

Failure<NSError> cannotShow() {
  return mediaFailure(AVError::decodeFailed, "The movie has no picture that can be shown.");
}

MediaResult<imaging::Bitmap> bitmapOf(AVFrame& decoded, Size size) {
  ToneMapper toneMapper;
  const auto mapped = toneMapper.map(decoded);
  if (!mapped) return mapped.failure();
  const AVFrame& frame = **mapped;
  const auto scaler =
      makeScaler(FrameFormat(frame), {frame.width, frame.height}, size, AV_PIX_FMT_RGBA);
  if (!scaler) return scaler.failure();
  // Its rows are longer than the bitmap's, which the scaler makes use of.
  const Frame scaled = newFrame();
  if (auto done = allocatePixels(*scaled, AV_PIX_FMT_RGBA, size); !done) return done.failure();
  if (auto done = scale(*scaler, frame, frame.height, scaled->data, scaled->linesize); !done)
    return done.failure();
  auto bitmap = imaging::Bitmap::uninitialized(static_cast<std::size_t>(size.width),
                                               static_cast<std::size_t>(size.height));
  if (!bitmap) return cannotShow();
  for (std::size_t y = 0; y < bitmap->height(); ++y)
    std::memcpy(bitmap->row(y), scaled->data[0] + static_cast<int>(y) * scaled->linesize[0],
                bitmap->strideBytes());
  bitmap->setKnownOpaque(true);
  return *std::move(bitmap);
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
  FirstFrames(MovieInput& input, Codec decoder, std::size_t maxSide)
      : input_(input), decoder_(std::move(decoder)), maxSide_(static_cast<double>(maxSide)) {}

  MediaResult<imaging::Bitmap> next() {
    // What gives no frame in so many packets is not worth more.
    for (; packets_ < 300; ++packets_) {
      if (avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0) return small();
      if (isAtEnd_) break;
      const auto read = input_.read(*packet_);
      isAtEnd_ = !read || *read == MovieInput::ReadResult::end;
      if (isAtEnd_ || packet_->stream_index == input_.video().index)
        avcodec_send_packet(decoder_.get(), isAtEnd_ ? nullptr : packet_.get());
    }
    return cannotShow();
  }

 private:
  MediaResult<imaging::Bitmap> small() const {
    if (frame_->width <= 0 || frame_->height <= 0) return cannotShow();
    const Size size = squareSize(input_.video(), {frame_->width, frame_->height});
    const double factor = std::min(1.0, maxSide_ / std::max(size.width, size.height));
    return bitmapOf(*frame_, {std::max(1, static_cast<int>(std::lround(size.width * factor))),
                              std::max(1, static_cast<int>(std::lround(size.height * factor)))});
  }

  MovieInput& input_;
  const Codec decoder_;
  const double maxSide_;
  const Packet packet_ = newPacket();
  const Frame frame_ = newFrame();
  int packets_ = 0;
  bool isAtEnd_ = false;
};

/// The JPEG of `posterFrame`.
MediaResult<Data> posterOf(MediaResult<std::unique_ptr<MovieInput>> input, std::size_t maxSide) {
  constexpr int maxFrames = 30;
  constexpr int quality = 85;
  if (!input) return std::move(input).failure();
  if (maxSide == 0) return cannotShow();
  auto decoder = openDecoder((*input)->video());
  if (!decoder) return std::move(decoder).failure();
  FirstFrames frames(**input, std::move(*decoder), maxSide);
  auto poster = frames.next();
  if (!poster) return std::move(poster).failure();
  if (isBlack(*poster)) {
    for (int i = 1; i < maxFrames; ++i) {
      auto later = frames.next();
      if (!later) break;
      if (isBlack(*later)) continue;
      poster = std::move(later);
      break;
    }
  }
  const auto upright = imaging::oriented(std::move(*poster), orientationOf((*input)->video()));
  if (!upright) return cannotShow();
  auto jpeg = imaging::encodeJpegBitmap(*upright, quality, {});
  if (!jpeg) return cannotShow();
  return Data(std::move(*jpeg));
}

}  // namespace

MediaResult<MovieFacts> probeMovie(const Data& movie) try {
  return factsOf(MovieInput::open(movie));
} catch (const std::exception& thrown) {
  return mediaFailure(thrown);
}

MediaResult<MovieFacts> probeMovie(const std::filesystem::path& movie) try {
  return factsOf(MovieInput::open(movie, {}));
} catch (const std::exception& thrown) {
  return mediaFailure(thrown);
}

MediaResult<Data> posterFrame(const Data& movie, std::size_t maxSide) try {
  return posterOf(MovieInput::open(movie), maxSide);
} catch (const std::exception& thrown) {
  return mediaFailure(thrown);
}

MediaResult<Data> posterFrame(const std::filesystem::path& movie, std::size_t maxSide) try {
  return posterOf(MovieInput::open(movie, {}), maxSide);
} catch (const std::exception& thrown) {
  return mediaFailure(thrown);
}

}  // namespace vecamera::device::media
