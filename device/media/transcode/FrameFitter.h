#pragma once

#include "device/imaging/base/Orientation.h"
#include "device/media/ffmpeg/Ffmpeg.h"
#include "device/media/transcode/FrameFormat.h"
#include "device/media/transcode/ToneMapper.h"

namespace vecamera::device::media {

/// Brings frames of any size and format to yuv420p of limited range and one size, upright. A frame
/// that is one pixel larger is cropped, one of another size is scaled to fit, with black bars; high
/// dynamic range is tone mapped to BT.709. Used on one thread.
class FrameFitter {
 public:
  /// `size` has even sides and is that of the stored frame, which the orientation shows upright.
  FrameFitter(Size size, const imaging::Orientation& orientation)
      : size_(size), orientation_(orientation) {}

  Size uprightSize() const { return imaging::sidesOf(orientation_, size_); }
  /// The frame, which belongs to the fitter or is the given one itself, until the next call. Only
  /// its pixels count.
  MediaResult<AVFrame*> fit(AVFrame& given);

 private:
  MediaResult<void> prepare(const AVFrame& source);
  MediaResult<AVFrame*> scaled(const AVFrame& source);

  const Size size_;
  const imaging::Orientation orientation_;
  /// What the scaler is made for, how much of it is used, and where that lies in the frame.
  FrameFormat format_;
  Size used_;
  Size inner_;
  Size offset_;
  ToneMapper toneMapper_;
  Scaler scaler_;
  Frame scaled_ = newFrame();
  Frame upright_ = newFrame();
};

}  // namespace vecamera::device::media
