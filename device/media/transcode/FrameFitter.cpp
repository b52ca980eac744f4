#include "device/media/transcode/FrameFitter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vecamera::device::media {
namespace {

int nearestEven(double side) {
  return std::max(2, static_cast<int>(std::lround(side / 2)) * 2);
}

/// Whether a side becomes the fitted one by leaving out at most a pixel.
bool isCroppedTo(int side, int fitted) {
  return side == fitted || side == fitted + 1;
}

/// The frame gets memory that nobody else reads, with the pixels that it has.
MediaResult<void> makeWritable(AVFrame& frame, Size size) {
  if (!frame.buf[0]) return allocatePixels(frame, AV_PIX_FMT_YUV420P, size);
  if (av_frame_make_writable(&frame) >= 0) return {};
  return outOfMemory("The pictures of the movie cannot be converted");
}

void blacken(AVFrame& frame) {
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? frame.height : frame.height / 2;
    std::memset(frame.data[plane], plane == 0 ? 16 : 128,
                static_cast<std::size_t>(frame.linesize[plane]) * static_cast<std::size_t>(rows));
  }
}

/// In squares, which make good use of the cache when the axes are exchanged.
void orientPlane(const std::uint8_t* from, std::ptrdiff_t fromStride, int width, int height,
                 std::uint8_t* to, std::ptrdiff_t toStride,
                 const imaging::Orientation& orientation) {
  constexpr int square = 32;
  const Size upright = imaging::sidesOf(orientation, Size{width, height});
  // Where the first pixel goes, and how far its right and its lower neighbour go from there.
  to += (orientation.mirrorsX ? upright.width - 1 : 0) +
        (orientation.mirrorsY ? upright.height - 1 : 0) * toStride;
  const std::ptrdiff_t alongX = orientation.mirrorsX ? -1 : 1;
  const std::ptrdiff_t alongY = orientation.mirrorsY ? -toStride : toStride;
  const std::ptrdiff_t right = orientation.swapsAxes ? alongY : alongX;
  const std::ptrdiff_t down = orientation.swapsAxes ? alongX : alongY;
  for (int top = 0; top < height; top += square) {
    for (int left = 0; left < width; left += square) {
      const int rightEnd = std::min(left + square, width);
      const int bottomEnd = std::min(top + square, height);
      for (int y = top; y < bottomEnd; ++y) {
        for (int x = left; x < rightEnd; ++x) to[x * right + y * down] = from[x + y * fromStride];
      }
    }
  }
}

}  // namespace

MediaResult<void> FrameFitter::prepare(const AVFrame& source) {
  const FrameFormat format(source);
  if (scaler_ && format == format_) return makeWritable(*scaled_, size_);
  format_ = format;
  used_ = format.size;
  inner_ = size_;
  if (isCroppedTo(format.size.width, size_.width) &&
      isCroppedTo(format.size.height, size_.height)) {
    used_ = size_;
  } else {
    const double factor =
        std::min(1.0 * size_.width / format.size.width, 1.0 * size_.height / format.size.height);
    inner_ = {std::min(size_.width, nearestEven(format.size.width * factor)),
              std::min(size_.height, nearestEven(format.size.height * factor))};
  }
  offset_ = {(size_.width - inner_.width) / 2 & ~1, (size_.height - inner_.height) / 2 & ~1};
  scaler_.reset();
  if (auto done = makeWritable(*scaled_, size_); !done) return done;
  blacken(*scaled_);
  auto scaler = makeScaler(format, used_, inner_, AV_PIX_FMT_YUV420P);
  if (!scaler) return std::move(scaler).failure();
  scaler_ = std::move(*scaler);
  return {};
}

MediaResult<AVFrame*> FrameFitter::scaled(const AVFrame& source) {
  if (auto done = prepare(source); !done) return std::move(done).failure();
  std::uint8_t* planes[4] = {};
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    planes[plane] = scaled_->data[plane] + (offset_.width >> shift) +
                    (offset_.height >> shift) * scaled_->linesize[plane];
  }
  if (auto done = scale(scaler_, source, used_.height, planes, scaled_->linesize); !done)
    return std::move(done).failure();
  return scaled_.get();
}

MediaResult<AVFrame*> FrameFitter::fit(AVFrame& given) {
  if (given.width <= 0 || given.height <= 0) return cannotConvertFrames();
  const auto mapped = toneMapper_.map(given);
  if (!mapped) return mapped;
  AVFrame& source = **mapped;
  const FrameFormat format(source);
  const bool fits =
      format.pixels == AV_PIX_FMT_YUV420P && !format.isFullRange && format.size == size_;
  const auto stored = fits ? mapped : scaled(source);
  if (!stored || orientation_ == imaging::Orientation{}) return stored;
  if (auto done = makeWritable(*upright_, uprightSize()); !done) return std::move(done).failure();
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    orientPlane((*stored)->data[plane], (*stored)->linesize[plane], size_.width >> shift,
                size_.height >> shift, upright_->data[plane], upright_->linesize[plane],
                orientation_);
  }
  return upright_.get();
}

}  // namespace vecamera::device::media
