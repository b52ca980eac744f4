#pragma once

#include <vector>

#include "device/media/ffmpeg/Ffmpeg.h"
#include "device/media/transcode/FrameFormat.h"

namespace vecamera::device::media {

/// Whether the transfer function is one of high dynamic range (ITU-R BT.2100).
bool isHdr(AVColorTransferCharacteristic transfer);

/// Brings frames of high dynamic range, which are of BT.2020, to BT.709: up to a bit below
/// reference white the light stays as it is, and highlights are compressed. Used on one thread.
class ToneMapper {
 public:
  /// The frame as RGB48, no larger than what is encoded, which belongs to the mapper until the next
  /// call. A frame of standard dynamic range is given back as it is.
  MediaResult<AVFrame*> map(AVFrame& source);

 private:
  MediaResult<void> prepare(const AVFrame& source);

  FrameFormat format_;
  Scaler scaler_;
  Frame mapped_ = newFrame();
  /// Linear light, where 1 is reference white, by the upper bits of a code.
  std::vector<float> light_;
  /// Codes by light from 0 to 1.
  std::vector<std::uint16_t> codes_;
};

}  // namespace vecamera::device::media
