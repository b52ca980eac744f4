#pragma once

#include <vector>

#include "device/media/Ffmpeg.h"

namespace vecamera::device::media {

/// Whether pictures of this transfer (ITU-R BT.2100) are brighter than the screens that all other
/// pictures are made for.
bool isHighRange(AVColorTransferCharacteristic transfer);

/// Brings pictures of high dynamic range, which are of BT.2020, to BT.709: up to a bit below
/// reference white the light stays as it is, and what is brighter is pressed together. Used on one
/// thread.
class ToneMapper {
 public:
  /// The picture as RGB48, no larger than what is encoded. It belongs to the mapper, until the next
  /// call; null where it cannot be had.
  AVFrame* map(const AVFrame& source);

 private:
  bool prepare(const AVFrame& source);

  AVColorTransferCharacteristic transfer_ = AVCOL_TRC_UNSPECIFIED;
  int width_ = 0;
  int height_ = 0;
  int format_ = AV_PIX_FMT_NONE;
  AVColorRange range_ = AVCOL_RANGE_UNSPECIFIED;
  AVColorSpace space_ = AVCOL_SPC_UNSPECIFIED;
  Scaler scaler_;
  Frame mapped_;
  /// Light, where 1 is reference white, by the upper bits of a code.
  std::vector<float> light_;
  /// Codes by light from 0 to 1.
  std::vector<std::uint16_t> codes_;
};

}  // namespace vecamera::device::media
