#include "device/media/Movies.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>
#include <variant>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/media/FrameFitter.h"
#include "device/media/MovieInput.h"

namespace vecamera::device::media {
namespace {

std::unique_ptr<MovieInput> inputOf(MovieInput::Opened opened) {
  auto* const input = std::get_if<0>(&opened);
  return input ? std::move(*input) : nullptr;
}

/// With square pixels, before the turn.
Size squareSize(const AVStream& picture, Size stored) {
  const AVRational shape = pixelShape(picture);
  const double width = static_cast<double>(stored.width) * shape.num / shape.den;
  return {std::max(1, static_cast<int>(std::lround(width))), stored.height};
}

struct Kind {
  const char* extension;
  const char* uniformType;
};

std::optional<Kind> kindOf(const MovieInput& input) {
  if (input.isWebM()) return Kind{"webm", "org.webmproject.webm"};
  if (!input.isMpeg4()) return std::nullopt;
  // Files from before there were brands are QuickTime's.
  const std::string brand = input.majorBrand();
  if (brand.empty() || brand == "qt  ") return Kind{"mov", "com.apple.quicktime-movie"};
  return Kind{"mp4", "public.mpeg-4"};
}

std::optional<MovieFacts> factsOf(const std::unique_ptr<MovieInput>& input) {
  const auto kind = input ? kindOf(*input) : std::nullopt;
  if (!kind) return std::nullopt;
  const AVStream& picture = input->picture();
  const Size size = squareSize(picture, {picture.codecpar->width, picture.codecpar->height});
  MovieFacts facts;
  facts.extension = kind->extension;
  facts.uniformType = kind->uniformType;
  facts.width = static_cast<std::size_t>(size.width);
  facts.height = static_cast<std::size_t>(size.height);
  if (turnOf(picture).swapsAxes) std::swap(facts.width, facts.height);
  if (const auto duration = input->durationMicroseconds())
    facts.durationSeconds = static_cast<double>(*duration) / microseconds.den;
  facts.hasSound = input->sound() != nullptr;
  return facts;
}

std::optional<imaging::Bitmap> bitmapOf(const AVFrame& given, Size size) {
  ToneMapper toneMapper;
  const AVFrame* const mapped = isHighRange(given.color_trc) ? toneMapper.map(given) : &given;
  if (!mapped) return std::nullopt;
  const AVFrame& picture = *mapped;
  const Scaler scaler = makeScaler(picture, {picture.width, picture.height}, size, AV_PIX_FMT_RGBA);
  const Frame scaled(av_frame_alloc());
  auto bitmap = imaging::Bitmap::uninitialized(static_cast<std::size_t>(size.width),
                                               static_cast<std::size_t>(size.height))
                    .value();
  if (!scaler || !scaled || !bitmap) return std::nullopt;
  scaled->format = AV_PIX_FMT_RGBA;
  scaled->width = size.width;
  scaled->height = size.height;
  // Its rows are longer than the bitmap's, which the scaler makes use of.
  if (av_frame_get_buffer(scaled.get(), 0) < 0 ||
      sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, scaled->data,
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

/// The pictures near the start, small and not yet turned, one after the other.
class Starts {
 public:
  Starts(MovieInput& input, std::size_t maxSide)
      : input_(input),
        maxSide_(static_cast<double>(maxSide)),
        decoder_(openDecoder(input.picture(), error_)),
        packet_(av_packet_alloc()),
        frame_(av_frame_alloc()) {}

  std::optional<imaging::Bitmap> next() {
    if (!decoder_ || !packet_ || !frame_) return std::nullopt;
    // What gives no picture in so many packets is not worth more.
    for (; packets_ < 300; ++packets_) {
      if (avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0) return small();
      if (isAtEnd_) return std::nullopt;
      isAtEnd_ = input_.read(*packet_) < 0 || encryptionOf(*packet_);
      if (isAtEnd_ || packet_->stream_index == input_.picture().index)
        avcodec_send_packet(decoder_.get(), isAtEnd_ ? nullptr : packet_.get());
    }
    return std::nullopt;
  }

 private:
  std::optional<imaging::Bitmap> small() const {
    if (frame_->width <= 0 || frame_->height <= 0) return std::nullopt;
    const Size size = squareSize(input_.picture(), {frame_->width, frame_->height});
    const double share = std::min(1.0, maxSide_ / std::max(size.width, size.height));
    return bitmapOf(*frame_, {std::max(1, static_cast<int>(std::lround(size.width * share))),
                              std::max(1, static_cast<int>(std::lround(size.height * share)))});
  }

  MovieInput& input_;
  const double maxSide_;
  Outcome error_;
  Codec decoder_;
  Packet packet_;
  Frame frame_;
  int packets_ = 0;
  bool isAtEnd_ = false;
};

std::optional<Data> posterOf(const std::unique_ptr<MovieInput>& input, std::size_t maxSide) {
  constexpr int picturesToLookAt = 30;
  constexpr int quality = 85;
  if (!input || maxSide == 0) return std::nullopt;
  Starts starts(*input, maxSide);
  auto poster = starts.next();
  if (!poster) return std::nullopt;
  if (isBlack(*poster)) {
    for (int i = 1; i < picturesToLookAt; ++i) {
      auto later = starts.next();
      if (!later) break;
      if (isBlack(*later)) continue;
      poster = std::move(later);
      break;
    }
  }
  poster = imaging::oriented(std::move(*poster), turnOf(input->picture())).value();
  auto jpeg = poster ? imaging::encodeJpeg(*poster, quality, {}).value() : std::nullopt;
  return jpeg ? std::optional(Data(std::move(*jpeg))) : std::nullopt;
}

}  // namespace

std::optional<MovieFacts> probeMovie(const Data& movie) {
  return factsOf(inputOf(MovieInput::open(movie)));
}

std::optional<MovieFacts> probeMovieFile(const std::filesystem::path& movie) {
  return factsOf(inputOf(MovieInput::open(movie, {})));
}

std::optional<Data> posterFrame(const Data& movie, std::size_t maxSide) {
  return posterOf(inputOf(MovieInput::open(movie)), maxSide);
}

std::optional<Data> posterFrameOfFile(const std::filesystem::path& movie, std::size_t maxSide) {
  return posterOf(inputOf(MovieInput::open(movie, {})), maxSide);
}

}  // namespace vecamera::device::media
