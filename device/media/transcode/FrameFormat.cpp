#include "device/media/transcode/FrameFormat.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>

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

}  // namespace

FrameFormat::FrameFormat(const AVFrame& frame)
    : size{frame.width, frame.height},
      pixels(frame.format),
      isFullRange(hasFullRange(frame)),
      transfer(frame.color_trc),
      space(frame.colorspace) {}

Failure<NSError> cannotConvertFrames() {
  return mediaFailure(AVError::decodeFailed, "The pictures of the movie cannot be converted.");
}

MediaResult<Scaler> makeScaler(const FrameFormat& source, Size used, Size to,
                               AVPixelFormat pixels) {
  Scaler scaler(allocated(sws_alloc_context()));
  const auto set = [&](const char* name, std::int64_t value) {
    av_opt_set_int(scaler.get(), name, value, 0);
  };
  set("sws_flags", SWS_BICUBIC);
  set("srcw", used.width);
  set("srch", used.height);
  set("src_format", source.pixels);
  // The range must be known before the scaler is made: it may choose to copy.
  set("src_range", source.isFullRange);
  set("dstw", to.width);
  set("dsth", to.height);
  set("dst_format", pixels);
  set("dst_range", 0);
  if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) return cannotConvertFrames();
  if (pixels == AV_PIX_FMT_RGBA || pixels == AV_PIX_FMT_RGB48) {
    constexpr int unchanged = 1 << 16;
    const int space = source.space == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : source.space;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(space), source.isFullRange,
                             sws_getCoefficients(SWS_CS_DEFAULT), 0, 0, unchanged, unchanged);
  }
  return scaler;
}

MediaResult<void> scale(const Scaler& scaler, const AVFrame& frame, int rows,
                        std::uint8_t* const* planes, const int* strides) {
  if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, rows, planes, strides) > 0) return {};
  return cannotConvertFrames();
}

Size encodableSize(Size source) {
  // What level 5.1 of H.264 allows, in pixels a frame and a side.
  constexpr double maxPixels = 4096.0 * 2304;
  constexpr double maxSide = 4096;
  const double width = source.width;
  const double height = source.height;
  const double factor =
      std::min({1.0, maxSide / std::max(width, height), std::sqrt(maxPixels / (width * height))});
  return {even(width * factor), even(height * factor)};
}

}  // namespace vecamera::device::media
