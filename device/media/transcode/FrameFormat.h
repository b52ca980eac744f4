#pragma once

#include "device/imaging/base/Orientation.h"
#include "device/media/ffmpeg/Ffmpeg.h"

namespace vecamera::device::media {

/// What a scaler for frames must know of them.
struct FrameFormat {
  FrameFormat() = default;
  explicit FrameFormat(const AVFrame& frame);
  friend bool operator==(const FrameFormat&, const FrameFormat&) = default;

  Size size;
  int pixels = AV_PIX_FMT_NONE;
  bool isFullRange = false;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
};

/// The size of encoded frames, as stored, for source frames of a size: even sides, and no larger
/// than phones decode.
Size encodableSize(Size source);

/// The error for frames of a format that cannot be converted.
Failure<NSError> cannotConvertFrames();

/// Converts the upper left part `used` of frames of a format, scaled to a size.
MediaResult<Scaler> makeScaler(const FrameFormat& source, Size used, Size to, AVPixelFormat pixels);

/// Scales the upper `rows` rows of the frame, for which the scaler was made, into the planes.
MediaResult<void> scale(const Scaler& scaler, const AVFrame& frame, int rows,
                        std::uint8_t* const* planes, const int* strides);

}  // namespace vecamera::device::media
