#pragma once

#include "device/imaging/base/Orientation.h"
#include "device/media/Ffmpeg.h"
#include "device/media/ToneMapper.h"

namespace vecamera::device::media {

struct Size {
  int width = 0;
  int height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

/// The size of encoded pictures, before any turn, for source pictures of a size: even sides, and no
/// more of them than phones decode.
Size encodableSize(Size source);

/// Makes pictures of the upper left part `used` of pictures like `source`, scaled to a size. Null
/// where the format is unknown.
Scaler makeScaler(const AVFrame& source, Size used, Size to, AVPixelFormat format);

/// Brings pictures of any size and format to yuv420p of limited range and one size, and turns them.
/// A picture that is one pixel larger is cut, one of another size is scaled to fit, over black;
/// high dynamic range is brought to BT.709. Used on one thread.
class FrameFitter {
 public:
  /// `fitted` has even sides and is the size before the turn.
  FrameFitter(Size fitted, const imaging::Orientation& turn) : size_(fitted), turn_(turn) {}

  Size turnedSize() const { return turn_.swapsAxes ? Size{size_.height, size_.width} : size_; }
  /// The picture, which belongs to the fitter or is the given one itself, until the next call; null
  /// where it cannot be had. Only the pixels are of worth.
  AVFrame* fit(AVFrame& source);

 private:
  struct Form {
    Size size;
    int format = AV_PIX_FMT_NONE;
    bool isFullRange = false;
    friend bool operator==(const Form&, const Form&) = default;
  };

  bool prepare(const AVFrame& source);
  AVFrame* scaled(const AVFrame& source);

  const Size size_;
  const imaging::Orientation turn_;
  /// What the scaler is made for, how much of it is used, and where that lies in the fitted size.
  Form form_;
  Size used_;
  Size inner_;
  Size offset_;
  ToneMapper toneMapper_;
  Scaler scaler_;
  Frame scaled_;
  Frame turned_;
};

}  // namespace vecamera::device::media
