#include "device/media/FrameFitter.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vecamera::device::media {
namespace {

int even(double side) {
  return std::max(2, static_cast<int>(side) & ~1);
}

bool hasFullRange(const AVFrame& frame) {
  switch (frame.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ411P: return true;
    default: return frame.color_range == AVCOL_RANGE_JPEG;
  }
}

int nearestEven(double side) {
  return std::max(2, static_cast<int>(std::lround(side / 2)) * 2);
}

/// Whether a side is brought to the fitted one by leaving out at most a pixel.
bool isCutTo(int side, int fitted) {
  return side == fitted || side == fitted + 1;
}

bool allocate(Frame& frame, Size size) {
  if (frame) return av_frame_make_writable(frame.get()) >= 0;
  frame.reset(av_frame_alloc());
  if (!frame) return false;
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = size.width;
  frame->height = size.height;
  if (av_frame_get_buffer(frame.get(), 0) >= 0) return true;
  frame.reset();
  return false;
}

void blacken(AVFrame& frame) {
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? frame.height : frame.height / 2;
    std::memset(frame.data[plane], plane == 0 ? 16 : 128,
                static_cast<std::size_t>(frame.linesize[plane]) * static_cast<std::size_t>(rows));
  }
}

/// In squares, which make good use of the cache when the axes are exchanged.
void turnPlane(const std::uint8_t* from, std::ptrdiff_t fromStride, int width, int height,
               std::uint8_t* to, std::ptrdiff_t toStride, const imaging::Orientation& turn) {
  constexpr int square = 32;
  const int toWidth = turn.swapsAxes ? height : width;
  const int toHeight = turn.swapsAxes ? width : height;
  // Where the first pixel goes, and how far its right and its lower neighbour go from there.
  to += (turn.mirrorsX ? toWidth - 1 : 0) + (turn.mirrorsY ? toHeight - 1 : 0) * toStride;
  const std::ptrdiff_t alongX = turn.mirrorsX ? -1 : 1;
  const std::ptrdiff_t alongY = turn.mirrorsY ? -toStride : toStride;
  const std::ptrdiff_t right = turn.swapsAxes ? alongY : alongX;
  const std::ptrdiff_t down = turn.swapsAxes ? alongX : alongY;
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

Scaler makeScaler(const AVFrame& source, Size used, Size to, AVPixelFormat format) {
  Scaler scaler(sws_alloc_context());
  if (!scaler) return nullptr;
  const auto set = [&](const char* name, std::int64_t value) {
    av_opt_set_int(scaler.get(), name, value, 0);
  };
  const bool isFull = hasFullRange(source);
  set("sws_flags", SWS_BICUBIC);
  set("srcw", used.width);
  set("srch", used.height);
  set("src_format", source.format);
  // The range must be known before the scaler is made: it may choose to copy.
  set("src_range", isFull);
  set("dstw", to.width);
  set("dsth", to.height);
  set("dst_format", format);
  set("dst_range", 0);
  if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) return nullptr;
  if (format == AV_PIX_FMT_RGBA || format == AV_PIX_FMT_RGB48) {
    constexpr int unchanged = 1 << 16;
    const int space =
        source.colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : source.colorspace;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(space), isFull,
                             sws_getCoefficients(SWS_CS_DEFAULT), 0, 0, unchanged, unchanged);
  }
  return scaler;
}

Size encodableSize(Size source) {
  // The most that level 5.1 of H.264 allows, in pixels a picture and a side.
  constexpr double maxPixels = 4096.0 * 2304;
  constexpr double maxSide = 4096;
  const double width = source.width;
  const double height = source.height;
  const double share =
      std::min({1.0, maxSide / std::max(width, height), std::sqrt(maxPixels / (width * height))});
  return {even(width * share), even(height * share)};
}

bool FrameFitter::prepare(const AVFrame& source) {
  const Form form{{source.width, source.height}, source.format, hasFullRange(source)};
  if (scaler_ && form == form_) return true;
  form_ = form;
  used_ = form.size;
  inner_ = size_;
  if (isCutTo(form.size.width, size_.width) && isCutTo(form.size.height, size_.height)) {
    used_ = size_;
  } else {
    const double share =
        std::min(1.0 * size_.width / form.size.width, 1.0 * size_.height / form.size.height);
    inner_ = {std::min(size_.width, nearestEven(form.size.width * share)),
              std::min(size_.height, nearestEven(form.size.height * share))};
  }
  offset_ = {(size_.width - inner_.width) / 2 & ~1, (size_.height - inner_.height) / 2 & ~1};
  scaler_ = makeScaler(source, used_, inner_, AV_PIX_FMT_YUV420P);
  if (!scaler_ || !allocate(scaled_, size_)) return false;
  blacken(*scaled_);
  return true;
}

AVFrame* FrameFitter::scaled(const AVFrame& source) {
  if (!prepare(source) || !allocate(scaled_, size_)) return nullptr;
  std::uint8_t* planes[4] = {};
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    planes[plane] = scaled_->data[plane] + (offset_.width >> shift) +
                    (offset_.height >> shift) * scaled_->linesize[plane];
  }
  const int rows = sws_scale(scaler_.get(), source.data, source.linesize, 0, used_.height, planes,
                             scaled_->linesize);
  return rows > 0 ? scaled_.get() : nullptr;
}

AVFrame* FrameFitter::fit(AVFrame& given) {
  if (given.width <= 0 || given.height <= 0) return nullptr;
  AVFrame* const mapped = isHighRange(given.color_trc) ? toneMapper_.map(given) : &given;
  if (!mapped) return nullptr;
  AVFrame& source = *mapped;
  const bool fits = source.format == AV_PIX_FMT_YUV420P && !hasFullRange(source) &&
                    source.width == size_.width && source.height == size_.height;
  AVFrame* const upright = fits ? &source : scaled(source);
  if (!upright || turn_ == imaging::Orientation{}) return upright;
  if (!allocate(turned_, turnedSize())) return nullptr;
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    turnPlane(upright->data[plane], upright->linesize[plane], size_.width >> shift,
              size_.height >> shift, turned_->data[plane], turned_->linesize[plane], turn_);
  }
  return turned_.get();
}

}  // namespace vecamera::device::media
