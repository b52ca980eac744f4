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
  /// The frame as RGB48, no larger than what is encoded. It belongs to the mapper, until the next
  /// call; null where it cannot be had.
  AVFrame* map(const AVFrame& source);

 private:
  bool prepare(const AVFrame& source);

  FrameFormat format_;
  Scaler scaler_;
  Frame mapped_;
  /// Linear light, where 1 is reference white, by the upper bits of a code.
  std::vector<float> light_;
  /// Codes by light from 0 to 1.
  std::vector<std::uint16_t> codes_;
};

}  // namespace vecamera::device::media
